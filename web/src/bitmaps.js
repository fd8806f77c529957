/** Device-independent bitmaps: bytes with a header, a table of colours and rows. */
import { invoke } from './call.js';
import { DEPTHS, listed } from './depths.js';
import { withArena } from './heap.js';
import { NativeImage, NativeSamples } from './image.js';
import { Part, Picture } from './picture.js';

const HEADER = 40; // bytes
const FIELDS = 3; // the compression of pixels with masks
const BITS = [1, 4, 8, 16, 24, 32];
const DITHERS = { none: 1, stucki: 8 };
const PALETTES = { given: 0, fixed: 1, 'median-cut': 2 };
const CHANNELS = [1, 3, 4];

/** Words of 32 bits of a ZylImage. */
const FIELD = { channels: 2, alpha: 3, depth: 4, order: 7, origin: 8, height: 10, width: 11, data: 17, step: 18 };
const ALL_PARTS = 3; // header and pixels

function rowBytes(width, bits) {
  return Math.ceil(width * bits / 32) * 4;
}

/** Entries of four bytes between header and rows. */
function entries(bits, used, compression) {
  if (bits <= 8) return used || 2 ** bits;
  return compression === FIELDS && bits !== 24 ? 3 : 0;
}

/** Width and height of bytes that are as many as their header says. */
function sizeOf(dib) {
  if (!(dib instanceof Uint8Array)) throw new TypeError('dib: a Uint8Array is needed');
  if (dib.length < HEADER) throw new RangeError(`dib: ${HEADER} bytes are needed for the header, not ${dib.length}`);
  const view = new DataView(dib.buffer, dib.byteOffset, dib.length);
  const width = view.getInt32(4, true);
  const height = Math.abs(view.getInt32(8, true));
  const bits = view.getUint16(14, true);
  if (view.getUint32(0, true) !== HEADER || width < 1 || height === 0 || !BITS.includes(bits)) {
    throw new RangeError('dib: no header of 40 bytes with a size and 1, 4, 8, 16, 24 or 32 bits; in a .bmp file it '
      + 'begins after 14 bytes');
  }
  const table = entries(bits, view.getUint32(32, true), view.getUint32(16, true));
  const needed = HEADER + 4 * table + height * rowBytes(width, bits);
  if (dib.length < needed) throw new RangeError(`dib: ${needed} bytes are needed, not ${dib.length}`);
  return { width, height };
}

/** The region and channel of a picture, which both functions take. */
function partOf(picture, name) {
  const all = Array.from({ length: picture.channels }, (_, i) => i);
  const channels = picture.channel ? [picture.channel - 1] : all;
  if (!['1U', '8U', '16U'].includes(picture.depth) || !CHANNELS.includes(channels.length)) {
    throw new TypeError(`${name}: 1U, 8U or 16U with ${listed(CHANNELS)} channels is needed, not ${picture.depth} with `
      + `${channels.length}`);
  }
  return new Part(picture, channels, true);
}

function native(arena, part) {
  const { picture, channels } = part;
  const whole = channels.length === picture.channels;
  const image = new NativeImage(arena, part, {
    alpha: channels.length === 4 ? 4 : 0,
    model: whole ? picture.colorModel : 'GRAY',
    sequence: whole ? picture.channelSeq : 'G',
  });
  image.load();
  return image;
}

export function translateDIB(heap, dib) {
  sizeOf(dib);
  return withArena(heap, (arena) => {
    const shared = arena.numbers(Int32Array, [0]); // copy the pixels
    const address = invoke(heap, 'zylTranslateDIB', [arena.numbers(Uint8Array, dib), shared]) >>> 0;
    try {
      const fields = heap.view(Uint32Array, address, 28);
      const at = (name) => fields[FIELD[name]];
      const channels = at('channels');
      const depth = at('depth') === 1 ? '1U' : '8U';
      const picture = new Picture(new Uint8Array(at('width') * at('height') * channels), at('width'), at('height'), {
        depth, order: at('order') ? 'plane' : 'pixel', origin: at('origin') ? 'bottom' : 'top', alpha: at('alpha'),
        channelSeq: { 3: 'BGR', 4: 'BGRA' }[channels] });
      const all = Array.from({ length: channels }, (_, i) => i);
      new NativeSamples(heap, new Part(picture, all, true), at('data'), at('step')).store();
      return picture;
    } finally {
      heap.exports.zylDeallocate(address, ALL_PARTS);
    }
  });
}

export function convertFromDIB(heap, dib, { depth = '8U', channels = depth === '1U' ? 1 : 3, out } = {}) {
  const { width, height } = sizeOf(dib);
  const { Type } = DEPTHS[depth] ?? DEPTHS['8U'];
  const picture = out ? Picture.from(out, 'out')
    : new Picture(new Type(width * height * channels), width, height, { depth, channels });
  const part = partOf(picture, out ? 'out' : 'depth');
  const { rect } = part;
  if (rect.width < width || rect.height < height) {
    throw new RangeError(`out: at least ${width} x ${height} pixels are needed, not ${rect.width} x ${rect.height}`);
  }
  withArena(heap, (arena) => {
    const image = native(arena, part);
    invoke(heap, 'zylConvertFromDIB', [arena.numbers(Uint8Array, dib), image.address]);
    image.store();
  });
  return out ?? picture;
}

function word(words, name, value) {
  if (Object.hasOwn(words, value)) return words[value];
  throw new RangeError(`${name}: ${listed(Object.keys(words).map((w) => `"${w}"`))} is needed, not "${value}"`);
}

export function convertToDIB(heap, image, { bits = 24, table = [], dither = 'none', paletteConversion } = {}) {
  if (!BITS.includes(bits)) throw new RangeError(`bits: ${listed(BITS)} is needed, not ${bits}`);
  if (table.length > (bits <= 8 ? 2 ** bits : 0)) {
    throw new RangeError(`table: at most ${bits <= 8 ? 2 ** bits : 0} colours are needed, not ${table.length}`);
  }
  const usual = table.length > 0 || bits > 8 ? 'given' : 'median-cut';
  const palette = word(PALETTES, 'paletteConversion', paletteConversion ?? usual);
  const part = partOf(Picture.from(image), 'image');
  const { width, height } = part.rect;
  const room = palette === PALETTES['median-cut'] && bits <= 8 ? 2 ** bits : entries(bits, table.length, 0);
  const rows = height * rowBytes(width, bits);
  const size = HEADER + 4 * room + rows;
  return withArena(heap, (arena) => {
    const source = native(arena, part);
    const address = arena.allocate(size);
    const header = new DataView(heap.bytes.buffer, address, size);
    heap.bytes.fill(0, address, address + size);
    header.setUint32(0, HEADER, true);
    header.setInt32(4, width, true);
    header.setInt32(8, height, true);
    header.setUint16(12, 1, true);
    header.setUint16(14, bits, true);
    header.setUint32(32, table.length, true);
    table.forEach((colour, i) => heap.bytes.set(colour, address + HEADER + 4 * i));
    invoke(heap, 'zylConvertToDIB', [source.address, address, word(DITHERS, 'dither', dither), palette]);
    const left = new DataView(heap.bytes.buffer, address, size).getUint32(32, true);
    return heap.bytes.slice(address, address + HEADER + 4 * entries(bits, left, 0) + rows);
  });
}
