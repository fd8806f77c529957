/** The chain: which operations the page offers, with which controls, and what a chain does.
 * All of it follows from the table of operations. */
import { CHOICES, FAMILIES, OPERATIONS } from './zylqx/operations.js';

/** Kernels by name: rows of coefficients and how far their sums are shifted right. */
export const KERNELS = {
  sharpen: { rows: '-1 -1 -1 / -1 12 -1 / -1 -1 -1', shift: 2 },
  gauss: { rows: '1 4 6 4 1 / 4 16 24 16 4 / 6 24 36 24 6 / 4 16 24 16 4 / 1 4 6 4 1', shift: 8 },
  laplace: { rows: '0 -1 0 / -1 4 -1 / 0 -1 0', shift: 0 },
  emboss: { rows: '-2 -1 0 / -1 1 1 / 0 1 2', shift: 0 },
  'sobel-x': { rows: '-1 0 1 / -2 0 2 / -1 0 1', shift: 0 },
  'sobel-y': { rows: '-1 -2 -1 / 0 0 0 / 1 2 1', shift: 0 },
};

/** Matrices by name, in units of 1 / 2 ** scale: rows of three factors and a constant. */
export const TWISTS = {
  sepia: { rows: '101 197 48 0 / 89 176 43 0 / 70 137 34 0', scale: 8 },
  warm: { rows: '280 0 0 0 / 0 256 0 0 / 0 0 220 0', scale: 8 },
  vivid: { rows: '384 -64 -64 0 / -64 384 -64 0 / -64 -64 384 0', scale: 8 },
  'red and blue exchanged': { rows: '0 0 1 0 / 0 1 0 0 / 1 0 0 0', scale: 0 },
};

export const BORDERS = ['replicate', 'mirror', 'wrap', 'constant'];

/** First values of controls that have no default. */
const FIRST = {
  addS: { value: 40 }, subtractS: { value: 40 }, multiplyS: { value: 2 }, lShiftS: { shift: 1 }, rShiftS: { shift: 1 },
  andS: { value: 0xF0 }, orS: { value: 0x0F }, xorS: { value: 0x80 }, threshold: { threshold: 128 }, rotate: { angle: 1500 },
  multiplySScale: { scale: 128 }, mirror: { flipAxis: 'vertical' }, medianFilter: { nRows: 5, nCols: 5 },
  blur: { nRows: 5, nCols: 5 },
};

// How several kernels become one result; the page has one.
const ONE_KERNEL = 'combineMethod';
const SHOWN = ['int32', 'uint32', 'float', 'bool', 'choice', 'kernel', 'kernels', 'twist'];
const SOURCES = ['source', 'second'];
const REST = ['destination', 'tile', 'point', 'null', 'count'];
// Convolutions may change the depth too, but zyl gives them that of their picture.
const CHOOSE_DEPTH = ['convert', 'colorToGray', 'bitonalToGray'];
// A dither of zyl spreads its levels over the range, which the function by itself does not;
// a copy of the picture shows nothing.
const LEFT_OUT = ['reduceBits', 'copy'];

function isOffered(operation) {
  const kinds = operation.parameters.map((p) => p.kind);
  const makesPicture = ['same', 'scaled'].includes(operation.result);
  const tables = operation.name === 'histoEqualize' ? ['tables'] : [];
  return makesPicture && !LEFT_OUT.includes(operation.name)
    && kinds.every((kind) => [...SHOWN, ...SOURCES, ...REST, ...tables].includes(kind))
    && operation.parameters.every((p) => p.name !== 'aA');
}

export const OFFERED = OPERATIONS.filter(isOffered);

export function families() {
  return FAMILIES.map(({ name, title }) => ({ title, operations: OFFERED.filter((o) => o.family === name) }))
    .filter(({ operations }) => operations.length > 0);
}

export function operationOf(step) {
  return OFFERED.find((o) => o.name === step.name);
}

const TITLES = { lShiftS: 'Shift left', rShiftS: 'Shift right', convolve2D: 'Convolve', convolveSep2D: 'Convolve by rows and columns' };

/** The name of an operation for people. */
export function titleOf(operation) {
  const words = operation.word.replace(/^(...)2(...)$/, (_, from, to) => `${from.toUpperCase()} to ${to.toUpperCase()}`)
    .replaceAll('-', ' ').replace(/ s\b/, ' constant');
  return TITLES[operation.name] ?? words[0].toUpperCase() + words.slice(1);
}

// ---- controls ----------------------------------------------------------------------------

function rangeOf(parameter) {
  const [low, high] = parameter.small;
  const least = typeof parameter.min === 'number' ? parameter.min : undefined;
  const most = typeof parameter.max === 'number' ? parameter.max : undefined;
  return { low: least === undefined ? low : Math.max(low, least), high, least, most };
}

function control(parameter) {
  const { name, kind, help, unit, word = name } = parameter;
  const common = { name, help, label: word.replaceAll('-', ' ') };
  switch (kind) {
    case 'choice':
      return { ...common, type: 'choice', words: CHOICES[parameter.choices].map(({ word, help: text }) => ({ word, help: text })) };
    case 'bool':
      return { ...common, type: 'flag' };
    case 'kernel':
      return { ...common, type: 'row' };
    case 'kernels':
      return { ...common, type: 'matrix', presets: KERNELS, extra: 'shift', help: 'rows of coefficients' };
    case 'twist':
      return { ...common, type: 'matrix', presets: TWISTS, extra: 'scale', help: 'three factors and a constant for each channel' };
    case 'float':
      return { ...common, type: 'number', step: 0.01, low: parameter.small[0], high: parameter.small[1] };
    default:
      if (unit === 'hundredths of a degree') return { ...common, type: 'number', step: 0.01, low: -180, high: 180, per: 100, unit: '°' };
      return { ...common, type: 'number', step: 1, unit, ...rangeOf(parameter) };
  }
}

/** The controls of an operation. What follows from other values, such as an anchor in the middle,
 * has none. */
export function controlsOf(operation) {
  const shown = (p) => SHOWN.includes(p.kind) && !p.follows && p.name !== ONE_KERNEL;
  const controls = operation.parameters.filter(shown).map(control);
  if (CHOOSE_DEPTH.includes(operation.name)) {
    const depths = [...new Set(Object.values(operation.depths).flat())];
    controls.unshift({ name: 'depth', label: 'depth', type: 'choice', help: 'of the result', words: depths.map((word) => ({ word, help: '' })) });
  }
  if (operation.borders) {
    controls.push({ name: 'border', label: 'border', type: 'border', help: 'what lies outside the picture', words: BORDERS.map((word) => ({ word, help: '' })) });
  }
  return controls;
}

function firstValue(operation, { name, type, low, high, presets, words }) {
  const parameter = operation.parameters.find((p) => p.name === name);
  const first = FIRST[operation.name]?.[name] ?? parameter?.default;
  if (type === 'matrix') return { ...Object.values(presets)[0] };
  if (type === 'row') return '1 4 6 4 1';
  if (type === 'flag') return Boolean(first);
  if (type === 'border') return 'replicate';
  if (name === 'depth') return operation.depths['8U']?.includes('8U') ? '8U' : words[0].word;
  if (type === 'choice') return first ?? words[0].word;
  return first ?? Math.round((low + high) / 2);
}

/** A new step with the values that its controls begin with. */
export function stepOf(name) {
  const operation = OFFERED.find((o) => o.name === name);
  const values = Object.fromEntries(controlsOf(operation).map((c) => [c.name, firstValue(operation, c)]));
  if (operation.name === 'convert') values.depth = '16U';
  return { name, values };
}

// ---- calls ---------------------------------------------------------------------------------

export function rowsOf(text) {
  return text.split('/').map((row) => row.trim().split(/\s+/).map(Number));
}

/** What a step's function is called with after its pictures, by name. */
export function valuesOf(step) {
  const operation = operationOf(step);
  const values = {};
  for (const { name, type } of controlsOf(operation)) {
    const value = step.values[name];
    if (type === 'matrix') {
      values[name] = name === 'cTwist' ? { data: rowsOf(value.rows), scale: value.scale } : { values: rowsOf(value.rows), shift: value.shift };
    } else if (type === 'row') {
      // Both rows are shifted at once, at the end, by the first one's number of bits.
      const [row] = rowsOf(value);
      values[name] = name === 'xkernel' ? { values: row, shift: shiftOf(step) } : { values: row };
    } else {
      values[name] = value;
    }
  }
  return values;
}

/** The bits by which sums of two rows of coefficients are shifted: those of the coefficients' sum. */
export function shiftOf(step) {
  const sum = (text) => Math.abs(rowsOf(text)[0].reduce((a, b) => a + b, 0));
  return Math.max(0, Math.round(Math.log2(Math.max(sum(step.values.xkernel) * sum(step.values.ykernel), 1))));
}

/** Runs a step; operations of two pictures take the first one of the chain as the second. */
export function runStep(z, step, picture, original) {
  const operation = operationOf(step);
  const values = valuesOf(step);
  const list = operation.arguments.slice(0, operation.required).map((name) => {
    const kind = operation.parameters.find((p) => p.name === name)?.kind;
    if (kind === 'source') return picture;
    return kind === 'second' ? original : values[name];
  });
  const options = Object.fromEntries(Object.entries(values).filter(([name]) => operation.options.includes(name)));
  if (options.border === 'constant') options.border = 0;
  return z[operation.name](...list, options);
}

// ---- links ----------------------------------------------------------------------------------

const SEPARATORS = { steps: '~', values: ';', name: '=', matrix: '!' };

/** A chain as text for a link: name(value;value)~name(...). */
export function chainText(chain) {
  const text = (value) => (typeof value === 'object' ? [value.rows, value.shift ?? value.scale].join(SEPARATORS.matrix) : String(value));
  return chain.map(({ name, values }) => {
    const inside = Object.entries(values).map(([key, value]) => `${key}${SEPARATORS.name}${text(value)}`);
    return `${operationOf({ name }).word}(${inside.join(SEPARATORS.values)})`;
  }).join(SEPARATORS.steps);
}

function valueOf({ type, words, name }, text) {
  switch (type) {
    case 'number': {
      const number = Number(text);
      return text.trim() !== '' && Number.isFinite(number) ? number : undefined;
    }
    case 'flag':
      return text === 'true';
    case 'choice':
      return words.some((w) => w.word === text) ? text : undefined;
    case 'border':
      return BORDERS.includes(text) ? text : undefined;
    case 'row':
      return rowsOf(text).flat().every(Number.isFinite) ? text : undefined;
    default: {
      const [rows, extra] = text.split(SEPARATORS.matrix);
      if (!rowsOf(rows).flat().every(Number.isFinite) || !Number.isInteger(Number(extra))) return undefined;
      return { rows, [name === 'cTwist' ? 'scale' : 'shift']: Number(extra) };
    }
  }
}

/** The chain of a link's text. What is not understood is left out and told to `complain`. */
export function chainOf(text, complain = () => {}) {
  const chain = [];
  for (const words of text.split(SEPARATORS.steps).filter(Boolean)) {
    const [, word, inside] = /^([a-z0-9-]+)\((.*)\)$/.exec(words) ?? [];
    const operation = OFFERED.find((o) => o.word === word);
    if (!operation) {
      complain(`The link has a step that is not known: ${words}`);
      continue;
    }
    const step = stepOf(operation.name);
    for (const pair of inside.split(SEPARATORS.values).filter(Boolean)) {
      const [name, value = ''] = pair.split(SEPARATORS.name);
      const found = controlsOf(operation).find((c) => c.name === name);
      const read = found && valueOf(found, value);
      if (read === undefined) complain(`The link has a value that is not known: ${word}, ${pair}`);
      else step.values[name] = read;
    }
    chain.push(step);
  }
  return chain;
}
