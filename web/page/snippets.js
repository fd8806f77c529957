/** A chain in four languages: the same calls with the same numbers, to copy. */
import { CHOICES } from './zylqx/operations.js';
import { controlsOf, operationOf, valuesOf } from './chain.js';

const PYTHON_TYPES = { '1U': 'bool', '8U': 'uint8', '8S': 'int8', '16U': 'uint16', '16S': 'int16', '32S': 'int32' };
const PYTHON_WORDS = ['and', 'or', 'not', 'open'];
const ZYL_BORDERS = { mirror: 'reflect' };
const MAX = { '1U': 1, '8U': 255, '8S': 127, '16U': 65535, '16S': 32767, '32S': 2147483647 };

/** Depth, channels and colour model of what a step makes of a picture. */
export function shapeAfter(step, { depth, channels, model }) {
  const operation = operationOf(step);
  let made = depth;
  if (!Array.isArray(operation.depths)) {
    const allowed = operation.depths[depth] ?? ['8U'];
    made = step.values.depth ?? [depth, '8U'].find((d) => allowed.includes(d)) ?? allowed[0];
  }
  const counts = operation.channels[channels] ?? [channels];
  return { depth: made, channels: counts.includes(channels) ? channels : counts[0], model: operation.models?.[1] ?? model };
}

/** The shapes of a picture and of the result of each step. */
function shapesOf(chain, channels) {
  const shapes = [{ depth: '8U', channels, model: channels === 1 ? 'GRAY' : 'RGB' }];
  for (const step of chain) shapes.push(shapeAfter(step, shapes.at(-1)));
  return shapes;
}

/** Arguments by place, as far as there are values without a gap, and the others by name. */
function placed(step) {
  const operation = operationOf(step);
  const values = valuesOf(step);
  const list = [];
  let gap = false;
  const names = operation.arguments.filter((name) => !['source', 'second'].includes(operation.parameters.find((p) => p.name === name)?.kind));
  for (const name of names) {
    if (!(name in values)) gap = true;
    else if (!gap) list.push([name, values[name]]);
  }
  const before = list.map(([name]) => name);
  const byName = Object.entries(values).filter(([name]) => !before.includes(name));
  const second = operation.parameters.some((p) => p.kind === 'second');
  return { operation, second, list, byName };
}

// ---- zyl -----------------------------------------------------------------------------------

function quoted(words) {
  return /^[\w./:=,-]+$/.test(words) ? words : `'${words.replaceAll("'", "'\\''")}'`;
}

function zylValues(step, file) {
  const { values } = step;
  const operation = operationOf(step);
  const coefficients = (text) => text.split('/').map((row) => row.trim()).join('/');
  const pairs = [];
  if (operation.parameters.some((p) => p.kind === 'second')) pairs.push(`with=${file.replaceAll(',', '\\,')}`);
  for (const { name, type } of controlsOf(operation)) {
    const value = values[name];
    const word = operation.parameters.find((p) => p.name === name)?.word ?? name;
    if (name === 'depth') pairs.push(`depth=${value.toLowerCase()}`);
    else if (type === 'border') pairs.push(`border=${ZYL_BORDERS[value] ?? value}`);
    else if (name === 'kernel') pairs.push(`kernel=${coefficients(value.rows)}`, `shift=${value.shift}`);
    else if (name === 'cTwist') pairs.push(`matrix=${value.rows.replaceAll('/', ' ').replace(/\s+/g, ' ').trim()}`, `scale=${value.scale}`);
    else if (name === 'angle') pairs.push(`degrees=${value / 100}`);
    else if (name === 'xU') pairs.push(`factor=${value}/${values.xL}`);
    else if (type === 'flag') pairs.push(...(value ? [word] : []));
    else if (name !== 'xL') pairs.push(`${word}=${value}`);
  }
  if ('xkernel' in values) pairs.push(`shift=${valuesOf(step).xkernel.shift}`);
  return pairs;
}

export function zylText(chain, { file, channels }) {
  const { depth } = shapesOf(chain, channels).at(-1);
  const words = chain.map((step) => {
    const pairs = zylValues(step, file);
    return quoted(operationOf(step).word + (pairs.length ? `:${pairs.join(',')}` : ''));
  });
  // Other formats have no signed samples.
  const result = /S$/.test(depth) ? 'out.tif' : 'out.png';
  return [`zyl ${quoted(file)}`, ...words, result].join(chain.length ? ' \\\n  ' : ' ');
}

// ---- JavaScript ------------------------------------------------------------------------------

function jsLiteral(value) {
  if (Array.isArray(value)) return `[${value.map(jsLiteral).join(', ')}]`;
  if (typeof value === 'string') return `'${value}'`;
  if (typeof value !== 'object') return String(value);
  return `{ ${Object.entries(value).map(([key, v]) => `${key}: ${jsLiteral(v)}`).join(', ')} }`;
}

export function jsCall(step) {
  const { operation, second, list, byName } = placed(step);
  const options = Object.fromEntries(byName.map(([name, value]) => [name, name === 'border' && value === 'constant' ? 0 : value]));
  const more = [...(second ? ['original'] : []), ...list.map(([, value]) => jsLiteral(value)), ...(byName.length ? [jsLiteral(options)] : [])];
  return `image = z.${operation.name}(${['image', ...more].join(', ')});`;
}

export function jsText(chain, { file, channels }) {
  const gray = channels === 1 ? ', 1' : '';
  return `import zylqx, { Picture } from 'zylqx';

/** The colours of an ImageData without its alpha. */
function coloursOf({ data, width, height }, channels = 3) {
  const colours = data.filter((_, i) => i % 4 < channels);
  return new Picture(colours, width, height);
}

const z = await zylqx();
const canvas = document.querySelector('canvas');
const context = canvas.getContext('2d');
const picture = await createImageBitmap(await (await fetch('${file}')).blob());
[canvas.width, canvas.height] = [picture.width, picture.height];
context.drawImage(picture, 0, 0);
const original = coloursOf(context.getImageData(0, 0, canvas.width, canvas.height)${gray});

let image = original;
${chain.map(jsCall).join('\n')}${chain.length ? '\n' : ''}
[canvas.width, canvas.height] = [image.width, image.height];
context.putImageData(image.toImageData(), 0, 0);`;
}

// ---- Python ------------------------------------------------------------------------------------

function snake(name) {
  return name.replace(/(?<=[a-z0-9])(?=[A-Z])/g, '_').toLowerCase();
}

function pythonLiteral(value, name) {
  if (name === 'depth') return `"${PYTHON_TYPES[value]}"`;
  if (Array.isArray(value)) return `[${value.map((v) => pythonLiteral(v)).join(', ')}]`;
  if (typeof value === 'boolean') return value ? 'True' : 'False';
  if (typeof value === 'string') return `"${value}"`;
  if (typeof value !== 'object') return String(value);
  if (value.data) return `zx.Twist(${pythonLiteral(value.data)}, scale=${value.scale})`;
  const rows = Array.isArray(value.values[0]) ? value.values : name === 'ykernel' ? value.values.map((v) => [v]) : [value.values];
  return `zx.Kernel(${pythonLiteral(rows)}${value.shift ? `, shift=${value.shift}` : ''})`;
}

export function pythonCall(step) {
  const { operation, second, list, byName } = placed(step);
  const word = operation.word.replaceAll('-', '_');
  const keyword = ([name, value]) => `${name === 'depth' ? 'dtype' : snake(name)}=${name === 'border' && value === 'constant' ? 0 : pythonLiteral(value, name)}`;
  const given = [...(second ? ['original'] : []), ...list.map(([name, value]) => pythonLiteral(value, name)), ...byName.map(keyword)];
  return `a = zx.${word}${PYTHON_WORDS.includes(word) ? '_' : ''}(${['a', ...given].join(', ')})`;
}

export function pythonText(chain, { file, channels }) {
  const { depth } = shapesOf(chain, channels).at(-1);
  const save = /S$/.test(depth) ? 'np.save("out.npy", a)' : 'Image.fromarray(a).save("out.png")';
  return `import numpy as np
import zylqx as zx
from PIL import Image

original = np.asarray(Image.open("${file}").convert("${channels === 1 ? 'L' : 'RGB'}"))
a = original
${chain.map(pythonCall).join('\n')}${chain.length ? '\n' : ''}${save}`;
}

// ---- C --------------------------------------------------------------------------------------------

const C_MAKE = `/* An image without samples that matter. */
static ZylImage *make(int32_t channels, uint32_t depth, const char *model, int32_t width,
                      int32_t height) {
    ZylImage *image =
        zylCreateImageHeader(channels, 0, depth, model, model, ZYL_DATA_ORDER_PIXEL,
                             ZYL_ORIGIN_TL, ZYL_ALIGN_4, height, width, NULL, NULL, NULL);
    zylAllocateImage(image, 0);
    return image;
}
`;

const C_EQUALIZE = `
/* Counts the samples of each channel for the equalisation. */
static void equalize(ZylImage *from, ZylImage *to) {
    const int32_t count = 1 << from->depth;
    int32_t *numbers = calloc((size_t)(count + 1) * 4, sizeof *numbers);
    ZylLUT tables[3];
    ZylLUT *list[3];
    for (int32_t i = 0; i <= count; ++i) numbers[i] = i;
    for (int c = 0; c < from->nChannels; ++c) {
        tables[c] = (ZylLUT){count + 1, numbers, numbers + (c + 1) * (count + 1), NULL, 0};
        list[c] = &tables[c];
    }
    zylComputeHisto(from, list, NULL);
    zylHistoEqualize(from, to, list, NULL);
    free(numbers);
}
`;

/** Lines with the records that an argument needs, and the argument. */
function cValue(parameter, values, { from, to, index, depth }) {
  const { name, kind, follows } = parameter;
  const value = values[name] ?? parameter.default;
  const named = (list) => list.find((c) => c.word === value);
  const kernel = (id, { values: rows, shift = 0 }, upright) => {
    const matrix = Array.isArray(rows[0]) ? rows : upright ? rows.map((v) => [v]) : [rows];
    const [height, width] = [matrix.length, matrix[0].length];
    return [`    static int8_t ${id}Values[] = {${matrix.flat().join(', ')}};`,
      `    ZylConvKernel ${id} = {${[height, width, width >> 1, height >> 1, shift].join(', ')}, ${id}Values};`];
  };
  switch (kind) {
    case 'source':
      return [[], from];
    case 'second':
      return [[], 'picture'];
    case 'destination':
      return [[], to];
    case 'tile':
    case 'point':
    case 'null':
      return [[], 'NULL'];
    case 'count':
      return [[], '1'];
    case 'bool':
      return [[], value ? '1' : '0'];
    case 'choice':
      return [[], named(CHOICES[parameter.choices]).constant ?? String(named(CHOICES[parameter.choices]).value)];
    case 'kernel': {
      const id = `${name}${index}`;
      return [kernel(id, value, parameter.upright), `&${id}`];
    }
    case 'kernels': {
      const id = `kernel${index}`;
      return [[...kernel(id, value), `    ZylConvKernel *kernels${index}[] = {&${id}};`], `kernels${index}`];
    }
    case 'twist': {
      const data = [...value.data.flat(), 0, 0, 0, 0].slice(0, 16);
      return [[`    const ZylColorTwist twist${index} = {{${data.join(', ')}}, ${value.scale}};`], `&twist${index}`];
    }
    case 'float':
      return [[], `${Number.isInteger(value) ? `${value}.0` : value}f`];
    default:
      return [[], value === undefined ? followed(follows, values, from, depth) : String(value)];
  }
}

/** What a value is that follows from others. */
function followed(follows, values, from, depth) {
  if (/^(width|height)\/2$/.test(follows)) return `${from}->${follows.replace('/', ' / ')}`;
  if (follows === 'depth.max') return String(MAX[depth]);
  const [name, divisor] = follows.split('/');
  return String(divisor ? Math.floor(values[name] / divisor) : values[name]);
}

const C_BORDERS = { replicate: 'REPLICATE', mirror: 'REFLECT', wrap: 'WRAP', constant: 'CONSTANT' };

function cStep(step, index, shape) {
  const operation = operationOf(step);
  const values = valuesOf(step);
  const from = index === 1 ? 'picture' : `step${index - 1}`;
  const to = `step${index}`;
  const size = (side, up, down) => (operation.result === 'scaled' ? `${from}->${side} * ${values[up]} / ${values[down]}` : `${from}->${side}`);
  const width = size('width', 'xU', 'xL');
  const height = size('height', 'xU', 'xL');
  const lines = [`    ZylImage *${to} = make(${shape.channels}, ZYL_DEPTH_${shape.depth}, "${shape.model}", ${width}, ${height});`];
  if (values.border) {
    // Repeated filters read around the result too.
    lines.push(`    zylSetBorderMode(${from}, ZYL_BORDER_${C_BORDERS[values.border]}, ZYL_SIDE_ALL, 0);`,
      `    zylSetBorderMode(${to}, ZYL_BORDER_${C_BORDERS[values.border]}, ZYL_SIDE_ALL, 0);`);
  }
  if (operation.name === 'histoEqualize') return [...lines, `    equalize(${from}, ${to});`];
  const given = [];
  for (const parameter of operation.parameters) {
    const [records, argument] = cValue(parameter, values, { from, to, index, depth: shape.depth });
    lines.push(...records);
    given.push(argument);
  }
  lines.push(`    ${operation.function}(${given.join(', ')});`);
  return lines;
}

export function cText(chain, { channels }) {
  const shapes = shapesOf(chain, channels);
  const equalizes = chain.some((step) => step.name === 'histoEqualize');
  const steps = chain.flatMap((step, i) => [...cStep(step, i + 1, shapes[i + 1]),
    ...(i > 0 ? [`    zylDeallocate(step${i}, ZYL_DEALLOC_HEADER | ZYL_DEALLOC_DATA);`] : [])]);
  const kind = channels === 1 ? 'of 8 bits, gray' : 'of 8 bits, red, green and blue';
  return `#include <stdlib.h>
#include <zylqx.h>

${C_MAKE}${equalizes ? C_EQUALIZE : ''}
/* A new image, made of a picture ${kind}. What went wrong,
 * if anything, zylGetErrStatus() tells. */
ZylImage *process(ZylImage *picture) {
    zylRedirectError(zylNulDevReport);
    zylSetErrMode(ZYL_ErrModeParent);
    zylSetErrStatus(ZYL_StsOk);
${steps.length ? steps.join('\n') : `    ZylImage *step1 = make(${channels}, ZYL_DEPTH_8U, "${shapes[0].model}", picture->width, picture->height);
    zylCopy(picture, step1, NULL);`}
    return step${Math.max(chain.length, 1)};
}`;
}

export const LANGUAGES = [
  { name: 'zyl', title: 'zyl', text: zylText },
  { name: 'c', title: 'C', text: cText },
  { name: 'python', title: 'Python', text: pythonText },
  { name: 'javascript', title: 'JavaScript', text: jsText },
];
