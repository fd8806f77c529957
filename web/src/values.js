/** The values of calls: checked as JavaScript has them, and put into memory as C wants them. */
import { CHOICES } from './operations.js';
import { listed } from './depths.js';

const RANGES = { int32: [-(2 ** 31), 2 ** 31 - 1], uint32: [0, 2 ** 32 - 1], int8: [-128, 127] };

function number(value, name, low, high) {
  if (!Number.isInteger(value)) throw new TypeError(`${name}: a whole number is needed, not ${value}`);
  if (value < low || value > high) throw new RangeError(`${name}: ${low} to ${high} is allowed, not ${value}`);
  return value;
}

function numbers(values, name, range = RANGES.int32) {
  if (!Array.isArray(values) && !ArrayBuffer.isView(values)) {
    throw new TypeError(`${name}: an array of whole numbers is needed, not ${values}`);
  }
  return Array.from(values, (value) => number(value, name, ...range));
}

function choice(value, name, choices) {
  const found = choices.find((c) => c.word === value || c.value === value);
  if (found) return found.value;
  throw new RangeError(`${name}: ${listed(choices.map((c) => `"${c.word}"`))} is needed, not "${value}"`);
}

/** Words joined by |, an array of words, or their number. Without one direction the library
 * does nothing and says nothing. */
function flags(value, name, choices) {
  const words = typeof value === 'string' ? value.split('|') : value;
  let total = words;
  if (Array.isArray(words)) total = words.reduce((sum, word) => sum | choice(word, name, choices), 0);
  const known = choices.reduce((sum, c) => sum | c.value, 0);
  number(total, name, 0, known);
  if (total & ~known) throw new RangeError(`${name}: ${total} has bits of no meaning`);
  const bit = (word) => total & choices.find((c) => c.word === word).value;
  if (!bit('release') && Boolean(bit('forward')) === Boolean(bit('inverse'))) {
    throw new RangeError(`${name}: either "forward" or "inverse" is needed`);
  }
  return total;
}

function isRows(value) {
  return Array.isArray(value) && Array.isArray(value[0]);
}

/** { rows, columns, anchorX, anchorY, shift, values } of a kernel or its rows of coefficients; one
 * row of numbers is a row, or a column where `upright`. */
function kernel(value, name, upright = false) {
  const given = Array.isArray(value) || ArrayBuffer.isView(value) ? { values: value } : value;
  if (given === null || typeof given !== 'object' || given.values === undefined) {
    throw new TypeError(`${name}: rows of coefficients are needed, or an object with values, not ${value}`);
  }
  let rows = isRows(given.values) ? given.values : [Array.from(given.values)];
  if (upright && !isRows(given.values)) rows = rows[0].map((v) => [v]);
  const columns = rows[0]?.length ?? 0;
  if (columns === 0 || rows.some((row) => row.length !== columns)) {
    throw new RangeError(`${name}: all rows have to be equally long, with at least one coefficient`);
  }
  const [anchorX, anchorY] = given.anchor ?? [columns >> 1, rows.length >> 1];
  return {
    rows: rows.length,
    columns,
    anchorX: number(anchorX, `${name}.anchor`, 0, columns - 1),
    anchorY: number(anchorY, `${name}.anchor`, 0, rows.length - 1),
    shift: number(given.shift ?? 0, `${name}.shift`, ...RANGES.int32),
    values: numbers(rows.flat(), name, RANGES.int8),
  };
}

/** A kernel, or several: one array of rows is one kernel. */
function kernels(value, name) {
  const isKernel = (v) => isRows(v) || (!Array.isArray(v) && v?.values !== undefined);
  const several = Array.isArray(value) && value.length > 0 && value.every(isKernel);
  const list = several ? value : [value];
  return list.map((v) => kernel(v, name));
}

/** { data, scale } of a matrix: three or four rows of four numbers. Fractions become units of
 * 1 / 65536. */
function twist(value, name) {
  const given = Array.isArray(value) ? { data: value } : value;
  if (given === null || typeof given !== 'object' || given.data === undefined) {
    throw new TypeError(`${name}: rows of four numbers are needed, or an object with data and scale, not ${value}`);
  }
  let data = Array.from(given.data).flat();
  let scale = given.scale ?? 0;
  if (given.scale === undefined && !data.every(Number.isInteger)) {
    scale = 16;
    data = data.map((v) => Math.round(v * 2 ** scale));
  }
  if (data.length !== 12 && data.length !== 16) {
    throw new RangeError(`${name}: 12 or 16 numbers are needed, not ${data.length}`);
  }
  return { data: [...numbers(data, name), ...Array(16 - data.length).fill(0)], scale: number(scale, `${name}.scale`, 0, 31) };
}

/** { key, value, factor, interpolate } with arrays of one length. */
function table(given, name) {
  if (given === null || typeof given !== 'object' || given.key === undefined) {
    throw new TypeError(`${name}: an object with key, value, factor and interpolate is needed, not ${given}`);
  }
  const key = numbers(given.key, `${name}.key`);
  if (key.length < 2) throw new RangeError(`${name}.key: two bounds or more are needed`);
  const each = (values, part) => {
    const list = numbers(values ?? key.map(() => 0), `${name}.${part}`);
    if (list.length !== key.length && list.length !== key.length - 1) {
      throw new RangeError(`${name}.${part}: ${key.length - 1} numbers are needed, one for each interval, not ${list.length}`);
    }
    return [...list, 0].slice(0, key.length);
  };
  const interpolate = given.interpolate ?? given.factor !== undefined;
  if (interpolate && given.factor === undefined) throw new RangeError(`${name}.factor: slopes are needed to interpolate`);
  return { key, value: each(given.value, 'value'), factor: given.factor && each(given.factor, 'factor'),
    interpolate: Number(Boolean(interpolate)) };
}

/** The tables of a picture's channels; one table serves all. */
export function tables(given, name, channels) {
  const list = Array.isArray(given) ? given : Array(channels).fill(given);
  if (list.length < channels) {
    throw new RangeError(`${name}: a table for each of ${channels} channels is needed, not ${list.length}`);
  }
  return list.slice(0, channels).map((t) => table(t, name));
}

/** Tables with an interval for each value, and the counts of a histogram if they are given. */
export function tablesOfValues(size, channels, counts) {
  const key = Int32Array.from({ length: size + 1 }, (_, i) => i);
  return Array.from({ length: channels }, (_, c) => {
    const value = new Int32Array(size + 1);
    if (counts) value.set(counts[c]);
    return { key, value, interpolate: 0 };
  });
}

/** A value as marshal() takes it; tables wait for their picture. */
export function checked(parameter, value) {
  const { kind, name } = parameter;
  const least = (end, other) => (typeof end === 'number' ? end : other);
  switch (kind) {
    case 'int32':
    case 'uint32':
      return number(value, name, least(parameter.min, RANGES[kind][0]), least(parameter.max, RANGES[kind][1]));
    case 'float':
      if (typeof value !== 'number') throw new TypeError(`${name}: a number is needed, not ${value}`);
      return value;
    case 'bool':
      return Number(Boolean(value));
    case 'choice':
      return choice(value, name, CHOICES[parameter.choices]);
    case 'flags':
      return flags(value, name, CHOICES[parameter.choices]);
    case 'kernel':
      return kernel(value, name, parameter.upright);
    case 'kernels':
      return kernels(value, name);
    case 'twist':
      return twist(value, name);
    default:
      return value;
  }
}

function kernelRecord(arena, { rows, columns, anchorX, anchorY, shift, values }) {
  return arena.numbers(Int32Array, [rows, columns, anchorX, anchorY, shift, arena.numbers(Int8Array, values)]);
}

function tableRecord(arena, { key, value, factor, interpolate }) {
  const slopes = factor ? arena.numbers(Int32Array, factor) : 0;
  return arena.numbers(Int32Array, [key.length, arena.numbers(Int32Array, key), arena.numbers(Int32Array, value),
    slopes, interpolate]);
}

/** What C is given for a checked value: a number, or the address of records in the arena. */
export function marshal(arena, kind, value) {
  switch (kind) {
    case 'kernel':
      return kernelRecord(arena, value);
    case 'kernels':
      return arena.numbers(Int32Array, value.map((k) => kernelRecord(arena, k)));
    case 'twist':
      return arena.numbers(Int32Array, [...value.data, value.scale]);
    case 'tables':
      return arena.numbers(Int32Array, value.map((t) => tableRecord(arena, t)));
    default:
      return value;
  }
}

/** The values that a call has left in tables, the last one of each aside. */
export function tableValues(heap, address, list) {
  return list.map(({ key }, i) => {
    const record = heap.view(Int32Array, address, list.length)[i] >>> 0;
    const values = heap.view(Uint32Array, record, 5)[2];
    return heap.view(Int32Array, values, key.length - 1).slice();
  });
}
