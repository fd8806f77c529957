/** From pictures and values to a call of the library, and back. */
import { DEPTHS, listed } from './depths.js';
import { ZylqxError } from './error.js';
import { withArena } from './heap.js';
import { NativeImage, copyPart, sizesOf } from './image.js';
import { Part, Picture, isImageData } from './picture.js';
import { checked, marshal, tableValues, tables, tablesOfValues } from './values.js';

const IMAGES = ['source', 'second', 'image', 'alpha'];
const HISTOGRAM_SIZES = { '1U': 2, '8U': 256, '16U': 65536 };

// ---- arguments ---------------------------------------------------------------------------

function isOptions(value, operation) {
  if (value === null || typeof value !== 'object') return false;
  const prototype = Object.getPrototypeOf(value);
  if (prototype !== Object.prototype && prototype !== null) return false;
  return Object.keys(value).every((key) => operation.options.includes(key));
}

/** Arguments by their names. Those that may be left out may also stand in the options. */
function named(operation, list) {
  const values = [...list];
  const last = values.at(-1);
  const options = values.length > operation.required && isOptions(last, operation) ? values.pop() : {};
  const names = operation.arguments;
  if (values.length > names.length) {
    throw new TypeError(`${operation.name}: at most ${names.length} arguments and options (${listed(operation.options)}) are taken`);
  }
  const byName = { ...options };
  values.forEach((value, i) => {
    if (value !== undefined) byName[names[i]] = value;
  });
  for (const name of names.slice(0, operation.required)) {
    if (byName[name] === undefined) throw new TypeError(`${name}: ${operation.name} needs it`);
  }
  return byName;
}

// ---- a call --------------------------------------------------------------------------------

/** Runs one function of the library; what it reports is thrown. */
export function invoke(heap, name, parameters) {
  const { exports } = heap;
  exports.beginCall();
  const result = exports[name](...parameters);
  const status = exports.reportStatus();
  if (status !== 0) {
    throw new ZylqxError(status, heap.text(exports.reportFunction()), heap.text(exports.reportText()));
  }
  return result;
}

class Call {
  constructor(heap, operation, list) {
    this.heap = heap;
    this.operation = operation;
    this.given = named(operation, list);
    this.pictures = {};
    for (const { name, kind } of operation.parameters) {
      if (IMAGES.includes(kind) && this.given[name] != null) this.pictures[name] = Picture.from(this.given[name], name);
    }
    const [firstName] = Object.keys(this.pictures);
    this.first = this.#part(this.pictures[firstName], firstName);
    this.firstGiven = this.given[firstName];
  }

  #part(picture, name) {
    const { operation } = this;
    const { kind } = operation.parameters.find((p) => p.name === name);
    const alone = kind === 'alpha' || kind === 'alphaDestination';
    const part = new Part(picture, alone ? [(picture.channel || 1) - 1] : this.#channels(picture), operation.crops);
    const { width, height } = picture.roi ?? picture;
    if (this.first && (width !== this.width || height !== this.height)) {
      throw new RangeError(`${name}: ${width} x ${height} pixels, but the first picture has ${this.width} x ${this.height}`);
    }
    return part;
  }

  /** The channels that are worked on, from 0. Operations on single pixels leave an alpha as it is. */
  #channels(picture) {
    if (picture.channel) return [picture.channel - 1];
    const all = Array.from({ length: picture.channels }, (_, i) => i);
    return this.operation.keepsAlpha && all.length > 1 ? all.filter((i) => i !== picture.alpha - 1) : all;
  }

  get width() {
    return (this.first.picture.roi ?? this.first.picture).width;
  }

  get height() {
    return (this.first.picture.roi ?? this.first.picture).height;
  }

  #native(arena, part, isDestination = false, alpha = this.#alpha(part)) {
    const { picture } = part;
    const { operation } = this;
    return new NativeImage(arena, part, {
      ...this.#coloursOf(part, operation.models?.[isDestination ? 1 : 0]),
      alpha,
      border: this.given.border ?? picture.border ?? this.first.picture.border,
      roi: operation.crops || isDestination ? null : picture.roi,
    });
  }

  /** Colour model and channel sequence: the picture's own where they fit the model that the operation
   * works on, and all channels are there. */
  #coloursOf({ picture, channels }, wanted) {
    const usual = ['G', 'RGB', 'RGBA'].includes(picture.channelSeq);
    const complete = channels.length === picture.channels;
    if (complete && (!wanted || (wanted === picture.colorModel && !usual))) {
      return { model: picture.colorModel, sequence: picture.channelSeq };
    }
    const model = wanted ?? (channels.length < 3 ? 'GRAY' : 'RGB');
    return { model, sequence: { GRAY: 'G', RGB: 'RGBA'.slice(0, channels.length) }[model] ?? model };
  }

  /** The number of the alpha among the channels that are worked on, 0 for none. */
  #alpha({ picture, channels }) {
    if (picture.alpha) return channels.indexOf(picture.alpha - 1) + 1;
    return this.operation.usesAlpha && [2, 4].includes(channels.length) ? channels.length : 0;
  }

  run() {
    switch (this.operation.result) {
      case 'number':
        return withArena(this.heap, (arena) => this.#invoke(arena, {}).result);
      case 'tables':
        return this.#count();
      case 'changed':
        return this.#change();
      default:
        return this.#write();
    }
  }

  #count() {
    return withArena(this.heap, (arena) => {
      const list = this.#tables('lut');
      const { marshalled } = this.#invoke(arena, {});
      return tableValues(this.heap, marshalled.lut, list);
    });
  }

  /** The pictures themselves are changed, or a copy of the one there is. */
  #change() {
    const { operation, pictures, first } = this;
    let copied;
    if (operation.changesCopy) {
      const [name] = Object.keys(pictures);
      copied = this.#fresh(first.channels, first.picture.depth, this);
      pictures[name] = copied;
      this.first = new Part(copied, this.#channels(copied), true);
    }
    withArena(this.heap, (arena) => {
      for (const native of this.#invoke(arena, {}).natives) native.store();
    });
    return copied && this.#given(copied);
  }

  #write() {
    const { operation, given } = this;
    const depth = this.#resultDepth();
    const size = this.#resultSize();
    let out;
    if (given.out !== undefined) {
      out = Picture.from(given.out, 'out');
      this.#checkOut(out, depth, size);
    } else {
      const count = this.first.channels.length;
      const counts = operation.channels?.[count] ?? [count];
      const channels = counts.includes(count) ? this.first.channels : Array.from({ length: counts[0] }, (_, i) => i);
      out = this.#fresh(channels, depth, size);
    }
    const whole = new Part(out, this.#channels(out), true);
    const alphaName = 'alphaImageDst';
    const alphaOut = given[alphaName] && this.#part(Picture.from(given[alphaName], alphaName), alphaName);
    withArena(this.heap, (arena) => {
      const destination = this.#native(arena, whole, true);
      destination.load();
      const alpha = alphaOut && this.#native(arena, alphaOut, true, 1);
      alpha?.load();
      this.#invoke(arena, { destination, alphaDestination: alpha });
      destination.store();
      alpha?.store();
    });
    return given.out ?? this.#given(out);
  }

  /** A new picture of a call. It begins as the source where some of it stays as it is. */
  #fresh(channels, depth, { width, height }) {
    const { operation, first: { picture } } = this;
    const leavesOut = operation.keepsAlpha && !picture.channel && channels.length < picture.channels;
    const count = leavesOut ? picture.channels : channels.length;
    sizesOf({ width, height, channels: count, depth, order: picture.order });
    const isData = isImageData(this.firstGiven) && depth === '8U' && count === 4;
    const data = new (isData ? Uint8ClampedArray : DEPTHS[depth].Type)(width * height * count);

    const same = !picture.channel && count === picture.channels;
    const alike = same && depth === picture.depth && width === this.width && height === this.height;
    if (alike && (leavesOut || operation.alpha === 'kept' || operation.changesCopy)) {
      copyPart(new Part(picture, Array.from({ length: count }, (_, i) => i), true), data);
    }
    const { colorModel, channelSeq } = same ? picture : {};
    const model = operation.models?.[1];
    const colours = !model ? { colorModel, channelSeq }
      : { colorModel: model, channelSeq: model === 'GRAY' ? 'G' : `${model}A`.slice(0, count) };
    return new Picture(data, width, height, { depth, order: picture.order, origin: picture.origin,
      alpha: same ? picture.alpha : 0, ...colours });
  }

  /** The picture in the form in which the first one was given. */
  #given(picture) {
    if (!(picture.data instanceof Uint8ClampedArray) || !isImageData(this.firstGiven)) return picture;
    return new ImageData(picture.data, picture.width, picture.height);
  }

  #resultDepth() {
    const { operation, given, first } = this;
    const source = first.picture.depth;
    if (Array.isArray(operation.depths)) return source;
    const allowed = operation.depths[source];
    if (!allowed) throw new TypeError(`${operation.name}: takes ${listed(Object.keys(operation.depths))}, not ${source}`);
    const wanted = given.depth ?? (given.out && Picture.from(given.out, 'out').depth);
    if (wanted !== undefined) {
      if (!allowed.includes(wanted)) throw new RangeError(`depth: ${operation.name} makes ${listed(allowed)} of ${source}, not ${wanted}`);
      return wanted;
    }
    if (operation.reads === 'all') return '32S';
    return [source, '8U'].find((d) => allowed.includes(d)) ?? allowed[0];
  }

  #resultSize() {
    const { width, height } = this;
    if (this.operation.result !== 'scaled') return { width, height };
    const { xU, xL, yU, yL } = this.#values();
    const size = { width: Math.floor(width * xU / xL), height: Math.floor(height * yU / yL) };
    const positive = Math.min(xU, xL, yU, yL) > 0;
    if (positive && Math.min(size.width, size.height) < 1) {
      throw new RangeError(`${this.operation.name}: nothing is left of ${width} x ${height} pixels`);
    }
    return positive ? size : { width, height };
  }

  #checkOut(out, depth, size) {
    const { width, height } = out.roi ?? out;
    if (out.depth !== depth) throw new TypeError(`out: ${depth} is needed, not ${out.depth}`);
    if (width !== size.width || height !== size.height) {
      throw new RangeError(`out: ${size.width} x ${size.height} pixels are needed, not ${width} x ${height}`);
    }
  }

  // ---- values ------------------------------------------------------------------------------

  /** All values, those that were left out by their defaults, in the order of the C function. */
  #values() {
    this.values ??= Object.fromEntries(this.operation.parameters
      .filter((p) => p.value)
      .map((p) => [p.name, p.kind === 'tables' ? this.#tables(p.name) : checked(p, this.#value(p))]));
    return this.values;
  }

  #value(parameter) {
    const given = this.given[parameter.name];
    if (given !== undefined) return given;
    const { follows } = parameter;
    if (follows === undefined) return parameter.default;
    const roi = this.first.picture.roi ?? { x: 0, y: 0 };
    switch (follows) {
      case 'width/2':
        return roi.x + (this.width >> 1);
      case 'height/2':
        return roi.y + (this.height >> 1);
      case 'depth.max':
        return DEPTHS[this.#resultDepth()].max;
      default: { // another value, or half of it
        const [name, divisor] = follows.split('/');
        const other = this.#value(this.operation.parameters.find((p) => p.name === name));
        return divisor ? Math.floor(other / divisor) : other;
      }
    }
  }

  /** The tables of the channels that are worked on; those of the picture itself when none are given. */
  #tables(name) {
    if (this.list) return this.list;
    const { given, operation, first: { picture, channels } } = this;
    if (given[name] !== undefined) {
      this.list = tables(given[name], name, channels.length);
    } else {
      const counts = operation.histogram && new Call(this.heap, operation.histogram, [this.firstGiven]).run();
      this.list = tablesOfValues(HISTOGRAM_SIZES[picture.depth] ?? 256, channels.length, counts);
    }
    return this.list;
  }

  // ---- memory --------------------------------------------------------------------------------

  /** Brings everything into memory and calls the function. */
  #invoke(arena, { destination, alphaDestination }) {
    const values = this.#values();
    const natives = [];
    const marshalled = {};
    const put = ({ name, kind }) => {
      if (kind === 'destination') return destination.address;
      if (kind === 'alphaDestination') return alphaDestination ? alphaDestination.address : 0;
      if (IMAGES.includes(kind)) {
        if (!this.pictures[name]) return 0;
        const native = this.#native(arena, this.#part(this.pictures[name], name));
        native.load();
        natives.push(native);
        return native.address;
      }
      if (kind === 'count') return values.kernel.length;
      if (!(name in values)) return 0; // tiles, of which there are none
      marshalled[name] = marshal(arena, kind, values[name]);
      return marshalled[name];
    };
    const result = invoke(this.heap, this.operation.function, this.operation.parameters.map(put));
    return { result, natives, marshalled };
  }
}

export function run(heap, operation, list) {
  return new Call(heap, operation, list).run();
}
