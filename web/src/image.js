/** Images of the library in its memory. */
import { borderSides } from './borders.js';
import { DEPTHS } from './depths.js';

const ORDERS = { pixel: 0, plane: 1 };
const ORIGINS = { top: 0, bottom: 1 };
const ALIGN = 4; // bytes
const LARGEST = 2 ** 31 - 1; // bytes of an image

function copy(to, toAt, toStep, from, fromAt, fromStep, count) {
  if (toStep === 1 && fromStep === 1) {
    to.set(from.subarray(fromAt, fromAt + count), toAt);
    return;
  }
  for (let i = 0; i < count; ++i) to[toAt + i * toStep] = from[fromAt + i * fromStep];
}

/** Copies a part of a picture into an array that holds nothing else. */
export function copyPart(part, target) {
  const { rect, channels, picture } = part;
  const stride = rect.width * (picture.order === 'pixel' ? channels.length : 1);
  for (const run of part.runs(stride)) {
    copy(target, run.memory, run.memoryStep, picture.data, run.at, run.step, run.count);
  }
}

/** Four characters as one word of the header. */
function characters(text) {
  return [0, 1, 2, 3].reduce((word, i) => word | ((text.charCodeAt(i) || 0) << (8 * i)), 0);
}

/** Samples of a part of a picture in memory. */
export class NativeSamples {
  #pixels;
  #stride; // bytes

  constructor(heap, part, pixels, stride) {
    this.heap = heap;
    this.part = part;
    this.#pixels = pixels;
    this.#stride = stride;
  }

  /** Brings the samples of the picture into memory. */
  load() {
    this.#transfer((data, run, memory, at, step) => copy(memory, at, step, data, run.at, run.step, run.count), pack);
  }

  /** Brings the samples in memory into the picture. */
  store() {
    this.#transfer((data, run, memory, at, step) => copy(data, run.at, run.step, memory, at, step, run.count), unpack);
  }

  #transfer(copyRun, copyBits) {
    const { data, depth } = this.part.picture;
    const { bits, Type } = DEPTHS[depth];
    if (bits === 1) {
      const { bytes } = this.heap;
      let row = this.#pixels;
      for (const run of this.part.runs(0)) {
        copyBits(data, run.at, bytes, row, run.count);
        row += this.#stride;
      }
      return;
    }
    const bytes = bits / 8;
    const rows = this.part.rect.height * (this.part.picture.order === 'plane' ? this.part.channels.length : 1);
    const memory = this.heap.view(Type, this.#pixels, rows * this.#stride / bytes);
    for (const run of this.part.runs(this.#stride / bytes)) copyRun(data, run, memory, run.memory, run.memoryStep);
  }
}

/** Bytes from row to row and of all rows in memory; throws where they are too many. */
export function sizesOf({ width, height, channels, depth, order }) {
  const [across, planes] = order === 'pixel' ? [channels, 1] : [1, channels];
  const stride = Math.ceil(width * across * DEPTHS[depth].bits / 8 / ALIGN) * ALIGN;
  const size = stride * height * planes;
  if (size > LARGEST) throw new RangeError(`${width} x ${height} pixels are too many for one call`);
  return { stride, size };
}

/** The same with memory of its own and a header for the library, at `address`. */
export class NativeImage extends NativeSamples {
  /** @param {{ alpha: number, model: string, sequence: string, border: any, roi: object? }} says
   *  what the header tells beside the part's own shape */
  constructor(arena, part, says) {
    const { stride, size } = sizesOf({ ...part.picture, ...part.rect, channels: part.channels.length });
    const pixels = arena.allocate(size);
    super(arena.heap, part, pixels, stride);

    const { picture, channels, rect } = part;
    const { roi } = says;
    const region = roi ? arena.numbers(Int32Array, [0, roi.x, roi.y, roi.height, roi.width]) : 0;
    const fields = [
      0, 0, channels.length, says.alpha, DEPTHS[picture.depth].code, characters(says.model),
      characters(says.sequence), ORDERS[picture.order], ORIGINS[picture.origin], ALIGN, rect.height, rect.width,
      region, 0, 0, 0, size, pixels, stride, ...borderSides(says.border ?? 0), 0,
    ];
    fields[0] = fields.length * 4;
    this.address = arena.numbers(Int32Array, fields);
  }
}

/** Samples of 0 and 1 become bits, the first one the highest of its byte. */
function pack(data, at, bytes, row, count) {
  bytes.fill(0, row, row + ((count + 7) >> 3));
  for (let x = 0; x < count; ++x) {
    if (data[at + x]) bytes[row + (x >> 3)] |= 128 >> (x & 7);
  }
}

function unpack(data, at, bytes, row, count) {
  for (let x = 0; x < count; ++x) data[at + x] = (bytes[row + (x >> 3)] >> (7 - (x & 7))) & 1;
}
