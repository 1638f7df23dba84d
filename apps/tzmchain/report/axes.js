// Axes of evenly spaced values, and how they are written.

/**
 * @typedef {{label: string, unit: string, origin: number, step: number}} Told  the value of index 0, and from index to index
 */

export class Axis {
  /** @param {Told} told @param {number} count indices @param {number} factor indices that a cell holds */
  constructor(told, count, factor) {
    this.told = told;
    this.count = count;
    this.cell = told.step * factor;
    /** The ends: each index owns an interval with its value in the middle. */
    this.low = told.origin - told.step / 2;
    this.high = this.low + told.step * count;
  }

  /** @param {number} index */
  valueOf(index) { return this.told.origin + index * this.told.step; }

  /** @param {number} value @returns the nearest index that the axis has */
  indexOf(value) {
    return Math.min(this.count - 1, Math.max(0, Math.round((value - this.told.origin) / this.told.step)));
  }
}

/** A step of 1, 2 or 5 times a power of ten that cuts `length` into at most `parts`. @param {number} length @param {number} parts */
export function roundStep(length, parts) {
  const least = length / parts, power = 10 ** Math.floor(Math.log10(least));
  for (const digit of [1, 2, 5]) if (digit * power >= least * (1 - 1e-9)) return digit * power;
  return 10 * power;
}

/** @param {number} low @param {number} high @param {number} parts @returns {number[]} round values between the two */
export function ticks(low, high, parts) {
  const step = roundStep(high - low, Math.max(1, parts)), values = [];
  for (let i = Math.ceil(low / step - 1e-9); i * step <= high + 1e-9 * step; ++i) values.push(i * step);
  return values;
}

/** `value` with so many significant digits, without trailing zeros. @param {number} value @param {number} [digits] */
export function text(value, digits = 4) {
  const rounded = Number(value.toPrecision(digits));
  return Math.abs(rounded) >= 1e6 || (rounded !== 0 && Math.abs(rounded) < 1e-4) ? rounded.toExponential() : String(rounded);
}
