import { borderSides } from './borders.js';
import { DEPTHS, depthOfArray, listed } from './depths.js';

const SEQUENCES = { 1: 'G', 3: 'RGB', 4: 'RGBA' };

function whole(value, name, low, high) {
  if (!Number.isInteger(value)) throw new TypeError(`${name}: a whole number is needed, not ${value}`);
  if (value < low || value > high) throw new RangeError(`${name}: ${low} to ${high} is allowed, not ${value}`);
  return value;
}

function oneOf(value, name, words) {
  if (words.includes(value)) return value;
  throw new RangeError(`${name}: ${listed(words.map((w) => `"${w}"`))} is needed, not "${value}"`);
}

function region(roi, width, height) {
  const { x, y } = roi;
  whole(x, 'roi.x', 0, width - 1);
  whole(y, 'roi.y', 0, height - 1);
  return {
    x,
    y,
    width: whole(roi.width, 'roi.width', 1, width - x),
    height: whole(roi.height, 'roi.height', 1, height - y),
  };
}

function modelOf(sequence, channels) {
  const colours = sequence.slice(0, 3);
  if (colours === 'HSV' || colours === 'HLS') return colours;
  return channels < 3 ? 'GRAY' : 'RGB';
}

/** An array of samples with what it cannot say itself. Nothing is copied. */
export class Picture {
  /**
   * @param {ArrayBufferView} data the samples, row by row; of 1-bit pictures one byte of 0 or 1 each
   * @param {number} width pixels in a row
   * @param {number} height rows
   * @param {object} [options] see zylqx.d.ts
   */
  constructor(data, width, height, options = {}) {
    whole(width, 'width', 1, 2 ** 31 - 1);
    whole(height, 'height', 1, 2 ** 31 - 1);
    const usual = depthOfArray(data ?? '');
    if (!usual) {
      throw new TypeError('data: a Uint8Array, Uint8ClampedArray, Int8Array, Uint16Array, Int16Array or '
        + 'Int32Array is needed');
    }
    this.data = data;
    this.width = width;
    this.height = height;
    this.depth = oneOf(options.depth ?? usual, 'depth', Object.keys(DEPTHS));
    if (this.depth !== usual && !(this.depth === '1U' && usual === '8U')) {
      throw new TypeError(`depth: samples of ${this.depth} lie in a ${DEPTHS[this.depth].Type.name}, not a `
        + data.constructor.name);
    }
    this.channels = options.channels ?? data.length / (width * height);
    if (!Number.isInteger(this.channels) || this.channels < 1 || this.channels * width * height !== data.length) {
      throw new RangeError(`data: ${width} x ${height} pixels with ${options.channels ?? 'equally many'} channels `
        + `are needed, not ${data.length} samples`);
    }
    if (this.depth === '1U' && this.channels !== 1) {
      throw new RangeError(`channels: a 1-bit picture has one channel, not ${this.channels}`);
    }
    this.order = oneOf(options.order ?? 'pixel', 'order', ['pixel', 'plane']);
    this.origin = oneOf(options.origin ?? 'top', 'origin', ['top', 'bottom']);
    this.roi = options.roi ? region(options.roi, width, height) : null;
    this.channel = options.channel ? whole(options.channel, 'channel', 1, this.channels) : 0;
    this.alpha = options.alpha ? whole(options.alpha, 'alpha', 1, this.channels) : 0;
    this.border = options.border ?? null;
    if (this.border !== null) borderSides(this.border);
    this.channelSeq = options.channelSeq ?? SEQUENCES[this.channels] ?? 'G';
    this.colorModel = options.colorModel ?? modelOf(this.channelSeq, this.channels);
  }

  /** The Picture of an ImageData, of an object with data, width and height, or itself. */
  static from(image, name = 'image') {
    if (image instanceof Picture) return image;
    if (isImageData(image)) return new Picture(image.data, image.width, image.height, { alpha: 4 });
    if (image === null || typeof image !== 'object' || !ArrayBuffer.isView(image.data)) {
      throw new TypeError(`${name}: a Picture, an ImageData or an object with data, width and height is needed`);
    }
    return new Picture(image.data, image.width, image.height, image);
  }

  /** All of it as 8-bit red, green, blue and alpha, for a canvas: the depth's range becomes 0 to 255. */
  toImageData() {
    const { width, height, channels, alpha } = this;
    const data = bytesOf(this);
    const [nextPixel, nextChannel] = this.order === 'pixel' ? [channels, 1] : [1, width * height];
    const backwards = this.channelSeq.startsWith('B');
    const [red, green, blue] = (channels < 3 ? [0, 0, 0] : backwards ? [2, 1, 0] : [0, 1, 2]).map((c) => c * nextChannel);
    const target = new Uint8ClampedArray(4 * width * height).fill(255);
    for (let y = 0, to = 0; y < height; ++y) {
      let from = (this.origin === 'top' ? y : height - 1 - y) * width * nextPixel;
      for (let x = 0; x < width; ++x, from += nextPixel, to += 4) {
        target[to] = data[from + red];
        target[to + 1] = data[from + green];
        target[to + 2] = data[from + blue];
        if (alpha) target[to + 3] = data[from + (alpha - 1) * nextChannel];
      }
    }
    if (typeof ImageData === 'undefined') return { data: target, width, height, colorSpace: 'srgb' };
    return new ImageData(target, width, height);
  }
}

/** The samples of a picture with the range of its depth made 0 to 255. */
function bytesOf({ data, depth }) {
  const { min, bits } = DEPTHS[depth];
  if (depth === '8U') return data;
  const factor = bits === 1 ? 255 : 2 ** (8 - bits);
  const bytes = new Uint8Array(data.length);
  for (let i = 0; i < data.length; ++i) bytes[i] = (data[i] - min) * factor; // cut toward zero
  return bytes;
}

export function isImageData(image) {
  return typeof ImageData !== 'undefined' && image instanceof ImageData;
}

/** A rectangle and some channels of a picture: what of it a call works on. */
export class Part {
  /**
   * @param {Picture} picture
   * @param {number[]} channels from 0
   * @param {boolean} cut only the region; else the whole picture, whose region the call is told
   */
  constructor(picture, channels, cut) {
    const all = { x: 0, y: 0, width: picture.width, height: picture.height };
    this.picture = picture;
    this.channels = channels;
    this.rect = (cut && picture.roi) || all;
  }

  /** The rows of the part, as they lie in the picture's array and one after the other in memory,
   * `stride` samples apart: places and steps in samples. */
  * runs(stride) {
    const { picture, channels, rect } = this;
    const { width, height } = picture;
    const count = channels.length;
    for (let row = 0; row < rect.height; ++row) {
      const first = (rect.y + row) * width + rect.x;
      if (picture.order === 'plane') {
        for (let i = 0; i < count; ++i) {
          yield { at: channels[i] * width * height + first, step: 1,
            memory: (i * rect.height + row) * stride, memoryStep: 1, count: rect.width };
        }
      } else if (count === picture.channels) {
        yield { at: first * count, step: 1, memory: row * stride, memoryStep: 1, count: rect.width * count };
      } else {
        for (let i = 0; i < count; ++i) {
          yield { at: first * picture.channels + channels[i], step: picture.channels,
            memory: row * stride + i, memoryStep: count, count: rect.width };
        }
      }
    }
  }
}
