// A section of the block on a canvas: its axes, the cross-hair, and what a user does with it.

import { ticks, text } from './axes.js';

/** @typedef {'ascan' | 'line' | 'sample'} AxisName */
/** @typedef {{ascan: number, line: number, sample: number}} Place  indices of the image */
/** @typedef {{left: number, right: number, top: number, bottom: number}} Window  in the units of the axes */

const kMargin = {left: 58, right: 14, depth: 46, top: 8, bottom: 36};
const kWheelStep = 50; // px of a wheel for a step; a notch of a mouse has about 100

/** A colour of the style sheet. @param {string} name */
export function ink(name) { return getComputedStyle(document.documentElement).getPropertyValue(name).trim(); }

/** Sharp on every screen. @param {HTMLCanvasElement} canvas @returns its drawing context, in CSS pixels */
export function prepared(canvas) {
  const ratio = window.devicePixelRatio || 1, w = canvas.clientWidth, h = canvas.clientHeight;
  if (canvas.width !== Math.round(w * ratio)) canvas.width = Math.round(w * ratio);
  if (canvas.height !== Math.round(h * ratio)) canvas.height = Math.round(h * ratio);
  const context = /** @type {CanvasRenderingContext2D} */ (canvas.getContext('2d'));
  context.setTransform(ratio, 0, 0, ratio, 0, 0);
  context.clearRect(0, 0, w, h);
  context.textAlign = 'left';
  context.font = '12px system-ui, "DejaVu Sans", sans-serif';
  return context;
}

export class View {
  /**
   * @param {string} id of the canvas @param {AxisName} columns @param {AxisName} rows @param {AxisName} normal
   * @param {import('./page.js').Source} source of what is drawn @param {import('./page.js').Page} page
   * @param {{window?: Window}} shared a window that another view has, too
   */
  constructor(id, columns, rows, normal, source, page, shared = {}) {
    this.canvas = /** @type {HTMLCanvasElement} */ (document.getElementById(id));
    this.title = /** @type {HTMLElement} */ (document.getElementById(`${id}-title`));
    this.columns = columns;
    this.rows = rows;
    this.normal = normal;
    this.source = source;
    this.page = page;
    this.shared = shared;
    this.picture = document.createElement('canvas');
    this.sectionKey = this.pictureKey = '';
    /** @type {Uint8Array} */
    this.levels = new Uint8Array(0);
    this.wheel = 0;
    /** @type {Map<number, {x: number, y: number}>} */
    this.fingers = new Map();
    this.listen();
  }

  /** @returns {Window} */
  get window() {
    if (!this.shared.window) this.showAll();
    return /** @type {Window} */ (this.shared.window);
  }

  showAll() {
    const columns = this.page.axis(this.columns), rows = this.page.axis(this.rows);
    this.shared.window = {left: columns.low, right: columns.high, top: rows.low, bottom: rows.high};
  }

  /** The rectangle of the plot in CSS pixels. */
  get plot() {
    const right = this.page.about.depth ? kMargin.depth : kMargin.right; // alike in all, so that axes stand below each other
    return {x: kMargin.left, y: kMargin.top, w: Math.max(1, this.canvas.clientWidth - kMargin.left - right),
      h: Math.max(1, this.canvas.clientHeight - kMargin.top - kMargin.bottom)};
  }

  /** @param {number} across @param {number} down in the units of the axes */
  toPixel(across, down) {
    const {x, y, w, h} = this.plot, {left, right, top, bottom} = this.window;
    return {x: x + (across - left) / (right - left) * w, y: y + (down - top) / (bottom - top) * h};
  }

  /** @param {{x: number, y: number}} pixel */
  toValues(pixel) {
    const {x, y, w, h} = this.plot, {left, right, top, bottom} = this.window;
    return {across: left + (pixel.x - x) / w * (right - left), down: top + (pixel.y - y) / h * (bottom - top)};
  }

  /** @param {{x: number, y: number}} pixel @returns {Place} of the image */
  placeAt(pixel) {
    const values = this.toValues(pixel);
    return {...this.page.place, [this.columns]: this.page.indexOf(this.columns, values.across),
      [this.rows]: this.page.indexOf(this.rows, values.down)};
  }

  /** Where a place of the image is projected to. @param {Place} place */
  pixelOf(place) {
    return this.toPixel(this.page.valueOf(this.columns, place[this.columns]), this.page.valueOf(this.rows, place[this.rows]));
  }

  /** Makes section and colours anew where they changed. */
  update() {
    const {source, page} = this;
    const normal = source.cells(this.normal, page.place, page.thickness[this.normal]);
    const sectionKey = [...normal.slice(0, 1), normal.length, page.mode, source.key].join();
    if (sectionKey !== this.sectionKey) {
      const columns = source.cells(this.columns), rows = source.cells(this.rows);
      this.levels = source.volume.section(columns, rows, normal, page.mode);
      this.picture.width = columns.length;
      this.picture.height = rows.length;
      this.sectionKey = sectionKey;
    }
    const pictureKey = `${sectionKey}/${source.shadesKey}`;
    if (pictureKey === this.pictureKey) return;
    const context = /** @type {CanvasRenderingContext2D} */ (this.picture.getContext('2d', {willReadFrequently: true}));
    const image = context.createImageData(this.picture.width, this.picture.height);
    const pixels = new Uint32Array(image.data.buffer);
    for (let i = 0; i < pixels.length; ++i) pixels[i] = source.shades[this.levels[i]];
    context.putImageData(image, 0, 0);
    this.pictureKey = pictureKey;
  }

  draw() {
    if (this.canvas.clientWidth === 0) return; // hidden
    this.update();
    const context = prepared(this.canvas), {x, y, w, h} = this.plot, {left, right, top, bottom} = this.window;
    const columns = this.source.axis(this.columns), rows = this.source.axis(this.rows);
    const sx = (left - columns.low) / columns.cell, sy = (top - rows.low) / rows.cell;
    const sw = (right - left) / columns.cell, sh = (bottom - top) / rows.cell;
    context.save();
    context.beginPath();
    context.rect(x, y, w, h);
    context.clip();
    context.imageSmoothingEnabled = w / sw < 12 && h / sh < 12; // cells that large are shown as such
    context.drawImage(this.picture, sx, sy, sw, sh, x, y, w, h);
    this.drawPlaces(context);
    context.restore();
    this.drawAxes(context);
  }

  /** Cross-hair, marks, and the line that is measured. @param {CanvasRenderingContext2D} context */
  drawPlaces(context) {
    const {x, y, w, h} = this.plot, page = this.page, at = this.pixelOf(page.place);
    const line = (/** @type {number[]} */ ...p) => {
      context.beginPath();
      context.moveTo(p[0], p[1]);
      context.lineTo(p[2], p[3]);
      for (const [colour, width] of /** @type {[string, number][]} */ ([['rgba(0,0,0,0.6)', 3], ['#5df', 1]])) {
        context.strokeStyle = colour;
        context.lineWidth = width;
        context.stroke();
      }
    };
    line(at.x, y, at.x, y + h);
    line(x, at.y, x + w, at.y);
    if (page.pinned) {
      const from = this.pixelOf(page.pinned);
      line(from.x, from.y, at.x, at.y);
    }
    for (const mark of page.marks) {
      const p = this.pixelOf(mark);
      context.beginPath();
      context.arc(p.x, p.y, 5, 0, 2 * Math.PI);
      context.fillStyle = mark[this.normal] === page.place[this.normal] ? '#5df' : 'rgba(85,221,255,0.35)';
      context.fill();
      context.strokeStyle = '#000';
      context.lineWidth = 1;
      context.stroke();
    }
  }

  /** @param {CanvasRenderingContext2D} context */
  drawAxes(context) {
    const {x, y, w, h} = this.plot, {left, right, top, bottom} = this.window;
    context.strokeStyle = ink('--soft');
    context.fillStyle = ink('--ink');
    context.lineWidth = 1;
    context.strokeRect(x - 0.5, y - 0.5, w + 1, h + 1);
    context.textAlign = 'center';
    context.textBaseline = 'top';
    for (const value of ticks(left, right, w / 70)) {
      const at = this.toPixel(value, top).x;
      context.fillRect(at, y + h, 1, 4);
      context.fillText(text(value), at, y + h + 6);
    }
    context.fillText(this.source.axis(this.columns).told.label, x + w / 2, y + h + 21);
    context.textAlign = 'right';
    context.textBaseline = 'middle';
    for (const value of ticks(top, bottom, h / 32)) {
      const at = this.toPixel(left, value).y;
      context.fillRect(x - 4, at, 4, 1);
      context.fillText(text(value), x - 7, at);
    }
    this.drawUpright(context, this.source.axis(this.rows).told.label, 10);
    const depth = this.page.about.depth;
    if (this.rows !== 'sample' || !depth) return;
    context.textAlign = 'left';
    const ends = [top, bottom].map((time) => depth.origin + time * depth.factor);
    for (const value of ticks(Math.min(...ends), Math.max(...ends), h / 32)) {
      if (value < 0 && depth.factor > 0) continue; // nothing lies above the surface
      const at = this.toPixel(left, (value - depth.origin) / depth.factor).y;
      context.fillRect(x + w, at, 4, 1);
      context.fillText(text(value), x + w + 6, at);
    }
    this.drawUpright(context, depth.label, x + w + 40);
  }

  /** @param {CanvasRenderingContext2D} context @param {string} label @param {number} x */
  drawUpright(context, label, x) {
    const {y, h} = this.plot;
    context.save();
    context.translate(x, y + h / 2);
    context.rotate(-Math.PI / 2);
    context.textAlign = 'center';
    context.fillText(label, 0, 0, h);
    context.restore();
  }

  /** How much longer a metre is drawn downwards than along; null where one side isn't in metres. */
  exaggeration() {
    const {w, h} = this.plot, {left, right, top, bottom} = this.window, depth = this.page.about.depth;
    const rows = this.source.axis(this.rows).told, columns = this.source.axis(this.columns).told;
    const metres = this.rows === 'sample' ? depth && Math.abs(depth.factor) : rows.unit === 'm' && 1;
    if (!metres || columns.unit !== 'm') return null;
    return h / ((bottom - top) * metres) / (w / (right - left));
  }

  // What a user does

  listen() {
    const canvas = this.canvas;
    canvas.addEventListener('pointerdown', (event) => {
      canvas.setPointerCapture(event.pointerId);
      canvas.focus({preventScroll: true});
      this.fingers.set(event.pointerId, this.pixel(event));
      this.pans = event.button === 1 || event.shiftKey;
      if (this.fingers.size === 1 && !this.pans) this.page.move(this.placeAt(this.pixel(event)));
      event.preventDefault();
    });
    canvas.addEventListener('pointermove', (event) => this.pointerMoved(event));
    for (const type of ['pointerup', 'pointercancel'])
      canvas.addEventListener(type, (event) => this.fingers.delete(/** @type {PointerEvent} */ (event).pointerId));
    canvas.addEventListener('pointerleave', () => this.page.hover(null));
    canvas.addEventListener('wheel', (event) => {
      event.preventDefault();
      const turned = event.deltaY * (event.deltaMode === 1 ? 40 : 1);
      if (event.ctrlKey) return this.zoom(1.002 ** turned, this.pixel(event));
      this.wheel += turned;
      const steps = Math.trunc(this.wheel / kWheelStep);
      this.wheel -= steps * kWheelStep;
      if (steps) this.page.step(this.normal, Math.sign(steps));
    }, {passive: false});
    canvas.addEventListener('keydown', (event) => { if (this.key(event)) event.preventDefault(); });
  }

  /** @param {MouseEvent} event */
  pixel(event) {
    const box = this.canvas.getBoundingClientRect();
    return {x: event.clientX - box.left, y: event.clientY - box.top};
  }

  /** @param {PointerEvent} event */
  pointerMoved(event) {
    const now = this.pixel(event), before = this.fingers.get(event.pointerId);
    if (!before) return this.page.hover(this.placeAt(now));
    const others = [...this.fingers].filter(([id]) => id !== event.pointerId);
    this.fingers.set(event.pointerId, now);
    if (others.length) {
      const other = others[0][1], apart = (/** @type {{x: number, y: number}} */ p) => Math.hypot(p.x - other.x, p.y - other.y);
      this.zoom(Math.max(apart(before), 1) / Math.max(apart(now), 1), {x: (now.x + other.x) / 2, y: (now.y + other.y) / 2});
      this.pan((now.x - before.x) / 2, (now.y - before.y) / 2);
    } else if (this.pans) {
      this.pan(now.x - before.x, now.y - before.y);
    } else {
      this.page.move(this.placeAt(now));
    }
  }

  /** @param {KeyboardEvent} event @returns {boolean} whether the key means something */
  key(event) {
    const far = event.shiftKey ? 10 : 1, middle = {x: this.canvas.clientWidth / 2, y: this.canvas.clientHeight / 2};
    /** @type {Record<string, () => void>} */
    const meanings = {
      ArrowLeft: () => this.page.step(this.columns, -far),
      ArrowRight: () => this.page.step(this.columns, far),
      ArrowUp: () => this.page.step(this.rows, -far),
      ArrowDown: () => this.page.step(this.rows, far),
      PageUp: () => this.page.step(this.normal, -far),
      PageDown: () => this.page.step(this.normal, far),
      '+': () => this.zoom(0.8, middle),
      '-': () => this.zoom(1.25, middle),
    };
    if (!(event.key in meanings) || event.ctrlKey || event.altKey || event.metaKey) return false;
    meanings[event.key]();
    return true;
  }

  /** Shows `factor` times as much, with what is at a pixel staying there. @param {number} factor @param {{x: number, y: number}} pixel */
  zoom(factor, pixel) {
    const at = this.toValues(pixel), {left, right, top, bottom} = this.window;
    const width = this.source.axis(this.columns).cell * 4, height = this.source.axis(this.rows).cell * 4;
    if (factor < 1 && (right - left < width || bottom - top < height)) return;
    this.shared.window = {left: at.across + (left - at.across) * factor, right: at.across + (right - at.across) * factor,
      top: at.down + (top - at.down) * factor, bottom: at.down + (bottom - at.down) * factor};
    this.pan(0, 0);
  }

  /** Moves the view by pixels, within the block. @param {number} dx @param {number} dy */
  pan(dx, dy) {
    const {w, h} = this.plot, window = this.window;
    const within = (/** @type {number} */ low, /** @type {number} */ high, /** @type {number} */ by, /** @type {import('./axes.js').Axis} */ axis) => {
      const length = Math.min(high - low, axis.high - axis.low);
      const start = Math.min(Math.max(low + by, axis.low), axis.high - length);
      return [start, start + length];
    };
    const {left, right, top, bottom} = window;
    [window.left, window.right] = within(left, right, -dx * (right - left) / w, this.page.axis(this.columns));
    [window.top, window.bottom] = within(top, bottom, -dy * (bottom - top) / h, this.page.axis(this.rows));
    this.page.redraw();
  }
}
