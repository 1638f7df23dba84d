// Blocks of 8-bit levels, and sections through them.

/**
 * How a block travels: level q of a block that is never negative stands for high (q / 255)^2, of another one for
 * middle + sign(q - 128) high ((q - 128) / 127)^2, so that weak values keep more shades than strong ones.
 * @typedef {{samples: number, ascans: number, lines: number, factors: number[], high: number, middle: number,
 *   signed: boolean, unit: string}} Block  sizes before the decimation; factors along samples, A-scans and lines
 */

/** @param {string} text base64 @returns {Uint8Array<ArrayBuffer>} */
function bytesOf(text) {
  const packed = atob(text);
  const bytes = new Uint8Array(packed.length);
  for (let i = 0; i < packed.length; ++i) bytes[i] = packed.charCodeAt(i);
  return bytes;
}

/** @param {Uint8Array<ArrayBuffer>} packed as zlib writes it @returns {Promise<Uint8Array>} */
async function inflated(packed) {
  const stream = new Blob([packed]).stream().pipeThrough(new DecompressionStream('deflate'));
  return new Uint8Array(await new Response(stream).arrayBuffer());
}

export class Volume {
  /** @param {Block} block @param {Uint8Array} levels line by line, A-scan by A-scan, samples running fastest */
  constructor(block, levels) {
    this.block = block;
    this.levels = levels;
    const [s, a, l] = block.factors;
    /** Cells that hold the block, and how far apart they lie in `levels`. */
    this.count = {sample: Math.ceil(block.samples / s), ascan: Math.ceil(block.ascans / a), line: Math.ceil(block.lines / l)};
    this.stride = {sample: 1, ascan: this.count.sample, line: this.count.sample * this.count.ascan};
    this.factor = {sample: s, ascan: a, line: l};
    if (levels.length !== this.count.line * this.stride.line) throw new Error('the block of the page is incomplete');
    this.values = Float32Array.from({length: 256}, (_, q) => this.valueOf(q));
  }

  /** @param {Block} block @param {string} text the levels, each less the one before it, deflated, in base64 */
  static async read(block, text) {
    const levels = await inflated(bytesOf(text));
    for (let i = 1; i < levels.length; ++i) levels[i] += levels[i - 1]; // modulo 256
    return new Volume(block, levels);
  }

  /** The value that a level stands for, in units of the block. @param {number} q */
  valueOf(q) {
    const {signed, high, middle} = this.block;
    if (!signed) return high * (q / 255) ** 2;
    const part = (q - 128) / 127;
    return middle + Math.sign(part) * high * part * part;
  }

  /** @param {number} value @returns the level of a value within the range */
  levelOf(value) {
    const {signed, high, middle} = this.block;
    if (!signed) return Math.sqrt(value / high) * 255;
    const part = (value - middle) / high;
    return 128 + 127 * Math.sign(part) * Math.sqrt(Math.abs(part));
  }

  /** @param {{ascan: number, line: number, sample: number}} place indices of the block before the decimation */
  at(place) {
    let i = 0;
    for (const axis of /** @type {const} */ (['ascan', 'line', 'sample']))
      i += Math.floor(place[axis] / this.factor[axis]) * this.stride[axis];
    return this.values[this.levels[i]];
  }

  /** The sample at which the largest value of a line lies. @param {number} line */
  strongest(line) {
    const first = Math.floor(line / this.factor.line) * this.stride.line, rest = this.block.signed ? 128 : 0;
    let most = -1, at = 0;
    for (let i = 0; i < this.stride.line; ++i) {
      const level = Math.abs(this.levels[first + i] - rest);
      if (level > most) [most, at] = [level, i % this.count.sample];
    }
    return at * this.factor.sample;
  }

  /** Counts of levels, of their distance from the middle where the block is signed. */
  histogram() {
    const counts = new Uint32Array(256);
    for (const level of this.levels) ++counts[level];
    if (!this.block.signed) return counts;
    const distances = new Uint32Array(256);
    counts.forEach((n, q) => { distances[Math.abs(q - 128)] += n; });
    return distances;
  }

  /**
   * Levels of a section, row by row: of one cell of thickness, or the mean, maximum (largest magnitude) or root mean
   * square of several.
   * @param {Int32Array} columns offsets in `levels` @param {Int32Array} rows @param {Int32Array} normal through the
   *   thickness @param {string} mode @returns {Uint8Array}
   */
  section(columns, rows, normal, mode) {
    const {levels, values} = this;
    const out = new Uint8Array(columns.length * rows.length);
    if (normal.length === 1) {
      for (let r = 0, o = 0; r < rows.length; ++r) {
        const row = rows[r] + normal[0];
        for (let c = 0; c < columns.length; ++c, ++o) out[o] = levels[row + columns[c]];
      }
      return out;
    }
    if (mode === 'maximum') return this.largest(columns, rows, normal, out);
    const terms = mode === 'rms' ? values.map((v) => (v - this.block.middle) ** 2) : values;
    const sums = new Float32Array(out.length);
    for (let r = 0; r < rows.length; ++r)
      for (let c = 0; c < columns.length; ++c) {
        const first = rows[r] + columns[c];
        let sum = 0;
        for (let n = 0; n < normal.length; ++n) sum += terms[levels[first + normal[n]]];
        sums[r * columns.length + c] = sum;
      }
    for (let i = 0; i < out.length; ++i) {
      const mean = sums[i] / normal.length;
      out[i] = Math.round(this.levelOf(mode === 'rms' ? this.block.middle + Math.sqrt(mean) : mean));
    }
    return out;
  }

  /** @param {Int32Array} columns @param {Int32Array} rows @param {Int32Array} normal @param {Uint8Array} out */
  largest(columns, rows, normal, out) {
    const rest = this.block.signed ? 128 : 0;
    for (let r = 0, o = 0; r < rows.length; ++r)
      for (let c = 0; c < columns.length; ++c, ++o) {
        const first = rows[r] + columns[c];
        let most = this.levels[first + normal[0]];
        for (let n = 1; n < normal.length; ++n) {
          const level = this.levels[first + normal[n]];
          if (Math.abs(level - rest) > Math.abs(most - rest)) most = level;
        }
        out[o] = most;
      }
    return out;
  }
}
