// The page: what is shown where, and the controls around the views.

import { Axis, text } from './axes.js';
import { View, ink, prepared } from './view.js';
import { Volume } from './volume.js';

/** @typedef {import('./view.js').AxisName} AxisName */
/** @typedef {import('./view.js').Place} Place */
/** @typedef {Place & {text: string}} Mark */
/** @typedef {{line: number, ascans: number[], coordinates: number[][]}} Track  degrees of longitude and latitude, m */
/**
 * @typedef {{
 *   image: import('./volume.js').Block, input: import('./volume.js').Block | null,
 *   axes: Record<AxisName, import('./axes.js').Told>, inputAxes: {ascan: import('./axes.js').Told, sample: import('./axes.js').Told} | null,
 *   inputTimeZeros: number[], depth: {name: string, label: string, origin: number, factor: number} | null,
 *   channels: string[], lineNames: string[], palettes: Record<string, string>, clip: number, tracks: Track[]
 * }} About  palettes: 256 colours, six hexadecimal digits each; inputTimeZeros: ns to take off, one a line or one for all
 */

const element = (/** @type {string} */ id) => /** @type {HTMLElement} */ (document.getElementById(id));
const input = (/** @type {string} */ id) => /** @type {HTMLInputElement} */ (document.getElementById(id));
/** While a control is moved, and when it was. @param {string} id @param {() => void} heard */
function changed(id, heard) { for (const type of ['input', 'change']) input(id).addEventListener(type, heard); }

const kAxes = /** @type {AxisName[]} */ (['ascan', 'line', 'sample']);
const kViewNames = {plan: 'Depth slice, seen from above', bscan: 'B-scan, along', cross: 'Section across', beside: 'Input'};

/** A block that views draw, with its colours. */
export class Source {
  /** @param {Volume} volume @param {About} about @param {Page} page */
  constructor(volume, about, page) {
    this.volume = volume;
    this.about = about;
    this.page = page;
    this.shades = new Uint32Array(256);
    this.shadesKey = '';
    this.counts = volume.histogram();
  }

  /** Of what its sections depend on beside their place. */
  get key() { return String(this.page.channel); }

  /** @param {AxisName} name @returns {Axis} */
  axis(name) { return this.page.axis(name); }

  /**
   * Offsets of the cells along an axis: of all that are shown, or, around a place, of as many as are merged.
   * @param {AxisName} name @param {Place} [place] @param {number} [thickness] in indices @returns {Int32Array}
   */
  cells(name, place, thickness = 1) {
    const {factor, stride, count} = this.volume;
    const shown = name === 'line' && this.page.lines ? this.page.lines : Array.from({length: count[name]}, (_, i) => i);
    const offsets = Int32Array.from(shown, (cell) => cell * stride[name]);
    if (!place) return offsets;
    const at = shown.indexOf(Math.min(Math.floor(place[name] / factor[name]), count[name] - 1));
    const many = Math.min(shown.length, Math.max(1, Math.round(thickness / factor[name])));
    const first = Math.min(Math.max(0, at - Math.floor((many - 1) / 2)), shown.length - many);
    return offsets.slice(first, first + many);
  }

  /** The value that so many percent of the block don't exceed in magnitude. @param {number} percentile */
  clipAt(percentile) {
    const {block, values} = this.volume, wanted = percentile / 100 * this.volume.levels.length;
    let held = 0, level = 0;
    for (; level < 255 && (held += this.counts[level]) < wanted;) ++level;
    if (!block.signed) return values[Math.max(level, 1)];
    return values[Math.min(255, 128 + Math.max(level, 1))] - block.middle;
  }

  /** Colours of all levels. @param {string} palette @param {number} percentile @param {number} decibels 0: linear */
  colour(palette, percentile, decibels) {
    const key = `${palette}/${percentile}/${decibels}`;
    if (key === this.shadesKey) return;
    const {block, values} = this.volume, clip = this.clipAt(percentile);
    const colours = this.page.about.palettes[palette];
    for (let q = 0; q < 256; ++q) {
      let part = block.signed ? 0.5 + (values[q] - block.middle) / clip / 2 : values[q] / clip;
      if (decibels > 0 && !block.signed) part = part > 0 ? 1 + 20 * Math.log10(part) / decibels : 0;
      const i = Math.round(255 * Math.min(1, Math.max(0, part))) * 6;
      const rgb = parseInt(colours.slice(i, i + 6), 16);
      this.shades[q] = (0xff000000 | (rgb & 0xff) << 16 | (rgb & 0xff00) | rgb >> 16) >>> 0; // bytes: red, green, blue, opaque
    }
    this.shadesKey = key;
  }
}

/** The recording from which the image was made; its times count from the time zero of each line. */
class InputSource extends Source {
  get key() { return `input/${this.page.place.line}`; }

  /** @param {AxisName} name */
  axis(name) {
    const told = this.about.inputAxes, block = this.volume.block;
    if (name === 'line' || !told) return this.page.axis(name);
    if (name === 'ascan') return new Axis(told.ascan, block.ascans, this.volume.factor.ascan);
    const zeros = this.about.inputTimeZeros, zero = zeros[zeros.length > 1 ? this.page.place.line : 0] ?? 0;
    return new Axis({...told.sample, origin: told.sample.origin - zero}, block.samples, this.volume.factor.sample);
  }

  /** @param {AxisName} name @param {Place} [place] @param {number} [thickness] */
  cells(name, place, thickness) {
    if (name !== 'line' || !place) return super.cells(name);
    const {factor, stride, count} = this.volume;
    return Int32Array.of(Math.min(Math.floor(place.line / factor.line), count.line - 1) * stride.line);
  }
}

export class Page {
  /** @param {About} about @param {Volume} volume */
  constructor(about, volume) {
    this.about = about;
    const {samples, ascans, lines} = about.image;
    /** @type {Record<AxisName, number>} */
    this.counts = {ascan: ascans, line: lines, sample: samples};
    /** @type {Place} */
    this.place = {ascan: Math.floor(ascans / 2), line: Math.floor(lines / 2), sample: volume.strongest(Math.floor(lines / 2))};
    this.thickness = {ascan: 1, line: 1, sample: 1};
    this.mode = 'mean';
    this.channel = -1; // all
    /** Lines that are shown, where not all are. @type {number[] | null} */
    this.lines = null;
    /** @type {Mark[]} */
    this.marks = [];
    /** @type {Place | null} */
    this.pinned = null;
    this.image = new Source(volume, about, this);
    /** @type {Source | null} */
    this.beside = null;
    /** The input, once somebody wants to see it. @type {Promise<Volume> | undefined} */
    this.recorded = undefined;
    const scan = {};
    this.views = [new View('plan', 'ascan', 'line', 'sample', this.image, this), new View('bscan', 'ascan', 'sample', 'line', this.image, this, scan),
      new View('cross', 'line', 'sample', 'ascan', this.image, this)];
    this.scan = scan;
    this.drawn = false;
    this.prepareControls();
    this.readAddress();
    this.redraw();
  }

  // Axes

  /** @param {AxisName} name @returns {Axis} of the image, of the lines that are shown */
  axis(name) {
    const told = this.about.axes[name], factor = this.image.volume.factor[name];
    if (name !== 'line' || !this.lines) return new Axis(told, this.counts[name], factor);
    const step = told.step * this.about.channels.length;
    return new Axis({...told, origin: told.origin + told.step * this.lines[0], step}, this.lines.length, 1);
  }

  /** The value of an index of the image. @param {AxisName} name @param {number} index */
  valueOf(name, index) { return this.about.axes[name].origin + index * this.about.axes[name].step; }

  /** @param {AxisName} name @param {number} value @returns the index of the image that is shown next to it */
  indexOf(name, value) {
    const index = this.axis(name).indexOf(value);
    return name === 'line' && this.lines ? this.lines[index] : index;
  }

  // Places

  /** @param {Partial<Place>} place */
  move(place) {
    for (const name of kAxes) {
      const index = Math.trunc(Number(place[name] ?? this.place[name]));
      if (Number.isFinite(index)) this.place[name] = Math.min(this.counts[name] - 1, Math.max(0, index));
    }
    if (this.lines && !this.lines.includes(this.place.line)) this.place.line = this.indexOf('line', this.valueOf('line', this.place.line));
    this.redraw();
    this.writeAddress();
  }

  /** @param {AxisName} name @param {number} steps */
  step(name, steps) {
    const far = name === 'line' && this.lines ? this.about.channels.length : 1;
    const to = this.place[name] + steps * far;
    this.move({[name]: name === 'line' && this.lines ? Math.min(this.lines[this.lines.length - 1], Math.max(this.lines[0], to)) : to});
  }

  /** Index, value and unit of a place on each axis, its depth, and the value of the image. @param {Place} place */
  told(place) {
    const {axes, depth, lineNames} = this.about;
    const at = (/** @type {AxisName} */ name) => {
      const value = `${text(this.valueOf(name, place[name]))} ${axes[name].unit}`;
      return axes[name].unit ? `, ${value}` : '';
    };
    const time = this.valueOf('sample', place.sample);
    const deep = depth && (time >= 0 || depth.factor < 0) ? `, ${depth.name} ${text(depth.origin + time * depth.factor, 3)} m` : '';
    const name = lineNames[place.line] ? ` (${lineNames[place.line]})` : '';
    return `A-scan ${place.ascan}${at('ascan')} · line ${place.line}${name}${at('line')} · sample ${place.sample}${at('sample')}${deep}` +
      ` · ${text(this.image.volume.at(place), 3)} ${this.about.image.unit}`;
  }

  /** @param {Place | null} place under the pointer */
  hover(place) { element('pointer').textContent = place ? `pointer: ${this.told(place)}` : ''; }

  /** Puts a place from the address in front; marks, too. */
  readAddress() {
    const words = new URLSearchParams(location.hash.slice(1));
    this.marks = words.getAll('mark').map((word) => {
      const [ascan, line, sample, ...rest] = word.split(',');
      return {ascan: Number(ascan), line: Number(line), sample: Number(sample), text: rest.join(',')};
    }).filter((mark) => kAxes.every((name) => Number.isInteger(mark[name]) && mark[name] >= 0 && mark[name] < this.counts[name]));
    const wanted = Object.fromEntries(kAxes.filter((name) => words.has(name)).map((name) => [name, Number(words.get(name))]));
    this.listMarks();
    this.move(wanted);
  }

  writeAddress() {
    clearTimeout(this.addressLater);
    this.addressLater = setTimeout(() => {
      const words = new URLSearchParams();
      for (const name of kAxes) words.set(name, String(this.place[name]));
      for (const mark of this.marks) words.append('mark', `${mark.ascan},${mark.line},${mark.sample},${mark.text}`);
      history.replaceState(null, '', `#${words}`);
    }, 150); // browsers refuse hundreds of them in a row
  }

  // Drawing

  redraw() {
    if (this.waiting) return;
    this.waiting = true;
    requestAnimationFrame(() => {
      this.waiting = false;
      performance.mark('redraw');
      this.draw();
      performance.measure('redraw', 'redraw');
    });
  }

  draw() {
    const decibels = Number(input('decibels').value), clip = Number(input('clip').value);
    this.image.colour(input('colours').value, clip, decibels);
    this.beside?.colour(this.beside.volume.block.signed ? this.signedPalette() : 'heat', 97, 0);
    for (const view of this.views) view.draw();
    this.drawBar(clip, decibels);
    this.drawTrack();
    for (const view of this.views) {
      const id = /** @type {keyof typeof kViewNames} */ (view.canvas.id), stretch = view.exaggeration();
      const across = view.rows === 'line' ? 'across' : 'vertically';
      const at = view.source.axis(view.normal).told.unit ? `, at ${text(this.valueOf(view.normal, this.place[view.normal]))} ${view.source.axis(view.normal).told.unit}` : '';
      view.title.textContent = `${kViewNames[id]}: ${view.normal === 'ascan' ? 'A-scan' : view.normal} ${this.place[view.normal]}${at}` +
        (stretch ? `; ${across} ${stretch < 1 ? `compressed ${text(1 / stretch, 2)}` : `stretched ${text(stretch, 2)}`} times` : '');
      view.canvas.setAttribute('aria-label', view.title.textContent);
    }
    const readout = element('readout');
    readout.textContent = this.told(this.place);
    for (const name of kAxes) {
      readout.dataset[name] = String(this.place[name]);
      input(name).value = String(this.place[name]);
      input(name).setAttribute('aria-valuetext', `${this.place[name]}`);
    }
    readout.dataset.value = String(this.image.volume.at(this.place));
    this.tellDistance();
  }

  signedPalette() { return input('colours').value === 'seismic' ? 'seismic' : 'grey'; }

  /** @param {number} percentile @param {number} decibels */
  drawBar(percentile, decibels) {
    const canvas = /** @type {HTMLCanvasElement} */ (element('bar')), context = prepared(canvas), w = canvas.clientWidth;
    const colours = this.about.palettes[input('colours').value], block = this.image.volume.block, clip = this.image.clipAt(percentile);
    for (let i = 0; i < 256; ++i) {
      context.fillStyle = `#${colours.slice(6 * i, 6 * i + 6)}`;
      context.fillRect(i / 256 * w, 0, w / 256 + 1, 14);
    }
    context.fillStyle = ink('--ink');
    const low = block.signed ? text(block.middle - clip, 3) : decibels > 0 ? `-${decibels} dB` : '0';
    const high = decibels > 0 && !block.signed ? `0 dB: ${text(clip, 3)}` : text(block.middle + clip, 3);
    context.textBaseline = 'top';
    context.fillText(low, 0, 18);
    context.textAlign = 'right';
    context.fillText(`${high} ${block.unit}`, w, 18);
  }

  drawTrack() {
    const tracks = this.about.tracks;
    if (!tracks.length) return;
    const canvas = /** @type {HTMLCanvasElement} */ (element('track')), context = prepared(canvas);
    const all = tracks.flatMap((track) => track.coordinates), shrink = Math.cos(all[0][1] * Math.PI / 180);
    const xs = all.map((c) => c[0] * shrink), ys = all.map((c) => c[1]), west = Math.min(...xs), north = Math.max(...ys);
    const span = Math.max(Math.max(...xs) - west, north - Math.min(...ys), 1e-9);
    const scale = (Math.min(canvas.clientWidth, canvas.clientHeight) - 20) / span;
    const pixel = (/** @type {number[]} */ c) => [10 + (c[0] * shrink - west) * scale, 10 + (north - c[1]) * scale];
    context.strokeStyle = ink('--soft');
    for (const track of tracks) {
      context.beginPath();
      for (const c of track.coordinates) context.lineTo(...(/** @type {[number, number]} */ (pixel(c))));
      context.stroke();
    }
    for (const place of [...this.marks, this.place]) {
      const at = this.positionOf(place);
      if (!at) continue;
      const [x, y] = pixel(at);
      context.fillStyle = place === this.place ? ink('--accent') : '#5df';
      context.beginPath();
      context.arc(x, y, 4, 0, 2 * Math.PI);
      context.fill();
    }
  }

  /** Longitude, latitude and height of a place, straight between those that are known. @param {Place} place */
  positionOf(place) {
    const track = this.about.tracks.find((t) => t.line === place.line);
    if (!track) return null;
    const {ascans, coordinates} = track;
    let i = 1;
    while (i < ascans.length - 1 && ascans[i] < place.ascan) ++i;
    if (ascans.length < 2) return coordinates[0];
    const part = (place.ascan - ascans[i - 1]) / (ascans[i] - ascans[i - 1]);
    return coordinates[i].map((value, k) => coordinates[i - 1][k] + part * (value - coordinates[i - 1][k]));
  }

  // Tools

  tellDistance() {
    const {pinned, place} = this, {axes, depth} = this.about;
    input('measure').setAttribute('aria-pressed', String(pinned !== null));
    if (!pinned) return void (element('distance').textContent = '');
    const along = this.valueOf('ascan', place.ascan) - this.valueOf('ascan', pinned.ascan);
    const metric = axes.line.unit === 'm', across = this.valueOf('line', place.line) - this.valueOf('line', pinned.line);
    const time = this.valueOf('sample', place.sample) - this.valueOf('sample', pinned.sample);
    const parts = [`along ${text(along)} m`, metric ? `across ${text(across)} m` : `${place.line - pinned.line} lines across`,
      `down ${text(time)} ns` + (depth ? ` = ${text(time * Math.abs(depth.factor))} m` : '')];
    if (metric || pinned.line === place.line) {
      const plan = Math.hypot(along, metric ? across : 0);
      parts.push(`in plan ${text(plan)} m`);
      if (depth) parts.push(`in all ${text(Math.hypot(plan, time * depth.factor))} m`);
    }
    element('distance').textContent = parts.join(', ');
  }

  togglePin() {
    this.pinned = this.pinned ? null : {...this.place};
    this.redraw();
  }

  addMark() {
    this.marks.push({...this.place, text: input('mark-text').value.trim()});
    input('mark-text').value = '';
    this.listMarks();
    this.writeAddress();
    this.redraw();
  }

  listMarks() {
    element('marks').replaceChildren(...this.marks.map((mark, i) => {
      const item = document.createElement('li'), go = document.createElement('button'), drop = document.createElement('button');
      go.type = drop.type = 'button';
      go.textContent = mark.text || `mark ${i + 1}`;
      go.title = this.told(mark);
      go.addEventListener('click', () => this.move(mark));
      drop.textContent = 'Remove';
      drop.setAttribute('aria-label', `Remove ${go.textContent}`);
      drop.addEventListener('click', () => {
        this.marks.splice(i, 1);
        this.listMarks();
        this.writeAddress();
        this.redraw();
      });
      item.append(go, drop);
      return item;
    }));
    element('export').hidden = !this.marks.some((mark) => this.positionOf(mark));
  }

  /** The marks whose position is known, as RFC 7946 has it. */
  geoJson() {
    const {depth} = this.about;
    const features = this.marks.filter((mark) => this.positionOf(mark)).map((mark) => {
      const time = this.valueOf('sample', mark.sample);
      return {type: 'Feature', geometry: {type: 'Point', coordinates: this.positionOf(mark)},
        properties: {text: mark.text, ascan: mark.ascan, line: mark.line, sample: mark.sample, time_ns: time,
          [depth ? `${depth.name}_m` : 'depth_m']: depth ? depth.origin + time * depth.factor : null, value: this.image.volume.at(mark)}};
    });
    return {type: 'FeatureCollection', features};
  }

  exportMarks() {
    const link = document.createElement('a');
    link.href = URL.createObjectURL(new Blob([JSON.stringify(this.geoJson(), null, 2)], {type: 'application/geo+json'}));
    link.download = 'marks.geojson';
    link.click();
    setTimeout(() => URL.revokeObjectURL(link.href), 1000);
  }

  // Controls

  prepareControls() {
    const {about} = this, signed = about.image.signed;
    for (const name of kAxes) {
      input(name).max = String(this.counts[name] - 1);
      changed(name, () => this.move({[name]: Number(input(name).value)}));
      const thick = input(`thick-${name}`);
      thick.max = String(this.counts[name]);
      changed(`thick-${name}`, () => {
        this.thickness[name] = Math.min(this.counts[name], Math.max(1, Math.trunc(Number(thick.value)) || 1));
        this.redraw();
      });
    }
    const options = (/** @type {string} */ id, /** @type {string[][]} */ words) =>
      input(id).replaceChildren(...words.map(([word, value]) => new Option(word, value)));
    options('colours', signed ? [['grey', 'grey'], ['blue, white, red', 'seismic']] : [['heat', 'heat'], ['grey', 'grey']]);
    options('channel', [['all', '-1'], ...about.channels.map((name, i) => [name, String(i)])]);
    element('channel-label').hidden = about.channels.length < 2 || about.image.factors[2] > 1;
    element('decibels-label').hidden = signed;
    input('clip').value = String(about.clip);
    for (const id of ['colours', 'clip', 'decibels']) changed(id, () => this.redraw());
    changed('mode', () => { this.mode = input('mode').value; this.redraw(); });
    changed('channel', () => this.showChannel(Number(input('channel').value)));
    element('with-input').hidden = !about.input;
    changed('input-beside', () => this.showInput(input('input-beside').checked));
    element('measure').addEventListener('click', () => this.togglePin());
    element('mark').addEventListener('click', () => this.addMark());
    element('controls').addEventListener('submit', (event) => event.preventDefault());
    element('mark-text').addEventListener('keydown', (event) => { if (event.key === 'Enter') this.addMark(); });
    element('export').addEventListener('click', () => this.exportMarks());
    element('whole').addEventListener('click', () => this.showAll());
    document.addEventListener('keydown', (event) => {
      if (event.target instanceof HTMLInputElement || event.ctrlKey || event.altKey || event.metaKey) return;
      if (event.key === 'm' || event.key === 'M') this.togglePin();
      if (event.key === '0') this.showAll();
    });
    element('track-figure').hidden = !about.tracks.length;
    element('viewer').classList.toggle('single', about.image.lines === 1);
    new ResizeObserver(() => this.redraw()).observe(element('views'));
    matchMedia('(prefers-color-scheme: dark)').addEventListener('change', () => this.redraw());
    addEventListener('hashchange', () => this.readAddress());
    addEventListener('beforeprint', () => this.draw());
  }

  showAll() {
    for (const view of this.views) view.showAll();
    this.redraw();
  }

  /** @param {number} channel -1: all of them */
  showChannel(channel) {
    const {about} = this;
    this.channel = channel;
    this.lines = channel < 0 ? null : Array.from({length: about.image.lines}, (_, i) => i).filter((i) => i % about.channels.length === channel);
    for (const view of this.views) view.showAll();
    this.move({});
  }

  /** @param {boolean} shown */
  async showInput(shown) {
    if (shown && this.about.input) {
      const {input} = this.about;
      this.recorded ??= parsed().then(() => Volume.read(input, element('input').textContent ?? ''));
      const volume = await this.recorded;
      if (!this.beside) {
        this.beside = new InputSource(volume, this.about, this);
        this.views.push(new View('beside', 'ascan', 'sample', 'line', this.beside, this, this.scan));
      }
    }
    element('beside-figure').hidden = !shown;
    this.redraw();
  }
}

/** When the input has come, too, which stands behind everything that the first picture needs. */
async function parsed() {
  if (document.readyState === 'loading')
    await new Promise((resolve) => document.addEventListener('DOMContentLoaded', resolve, {once: true}));
}

async function open() {
  /** @type {About} */
  const about = JSON.parse(element('about').textContent ?? '');
  const volume = await Volume.read(about.image, element('image').textContent ?? '');
  element('viewer').hidden = false;
  element('still').hidden = true;
  new Page(about, volume);
}

open().catch((failure) => {
  element('viewer').hidden = true;
  element('still').hidden = false;
  const message = element('message');
  message.hidden = false;
  message.textContent = `The volume can't be shown (${failure instanceof Error ? failure.message : failure}). A picture of it and the recipe follow; a current browser shows more.`;
});
