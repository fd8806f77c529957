import { readFileSync } from 'node:fs';
import zylqx, { Picture } from '../../build/web/package/zylqx.js';
import { OPERATIONS } from '../../build/web/package/operations.js';

export { OPERATIONS, Picture };

/** The library with vector instructions and without. */
export const BUILDS = [['simd', await zylqx({ simd: true })], ['plain', await zylqx({ simd: false })]];

export const DESCRIPTION = JSON.parse(readFileSync(new URL('../../operations/operations.json', import.meta.url)));

export const RANGES = {
  '1U': [0, 1], '8U': [0, 255], '8S': [-128, 127], '16U': [0, 65535], '16S': [-32768, 32767],
  '32S': [-(2 ** 31), 2 ** 31 - 1],
};
const TYPES = { '1U': Uint8Array, '8U': Uint8Array, '8S': Int8Array, '16U': Uint16Array, '16S': Int16Array, '32S': Int32Array };

/** Numbers from 0 to below 1 that are the same every time. */
export function randomOf(seed) {
  let state = seed >>> 0;
  return () => {
    state = (Math.imul(state, 1664525) + 1013904223) >>> 0;
    return (state >>> 8) / 2 ** 24;
  };
}

/** A picture of this depth; samples lie in the range, or in the part of it that is given. */
export function picture(seed, width, height, { depth = '8U', channels = 1, range = RANGES[depth], ...options } = {}) {
  const random = randomOf(seed);
  const [low, high] = range;
  const data = Array.from({ length: width * height * channels }, () => low + Math.floor(random() * (high - low + 1)));
  return new Picture(TYPES[depth].from(data), width, height, { depth, channels, ...options });
}

/** The picture of rows of samples, or of rows of pixels. */
export function ofRows(rows, depth = '8U') {
  return new Picture(TYPES[depth].from(rows.flat(2)), rows[0].length, rows.length, { depth });
}

export function samples(image) {
  return Array.from(image.data);
}

export function clamp(value, depth) {
  const [low, high] = RANGES[depth];
  return Math.min(Math.max(value, low), high);
}
