/** Every operation gives its example, and the filters what plain formulas give; by both builds. */
import assert from 'node:assert/strict';
import { test } from 'node:test';
import { BUILDS, DESCRIPTION, OPERATIONS, clamp, ofRows, picture, samples } from './support.js';

const OWN = { 'translate-dib': 'translateDIB', 'convert-from-dib': 'convertFromDIB', 'convert-to-dib': 'convertToDIB' };

/** An argument of an example, as JavaScript has it. */
function argument(value) {
  const kernel = (k) => ({
    values: Array.from({ length: k.rows }, (_, i) => k.values.slice(i * k.columns, (i + 1) * k.columns)),
    shift: k.shift, anchor: [k.anchorX, k.anchorY] });
  if (Array.isArray(value)) return value.map((v) => (v.rows ? kernel(v) : v));
  return value.rows ? kernel(value) : value;
}

function bytesOfBitmap({ width, height, bits, rows }) {
  const bytes = new Uint8Array(40 + rows.flat().length);
  const view = new DataView(bytes.buffer);
  view.setUint32(0, 40, true);
  view.setInt32(4, width, true);
  view.setInt32(8, height, true);
  view.setUint16(12, 1, true);
  view.setUint16(14, bits, true);
  bytes.set(rows.flat(), 40);
  return bytes;
}

function runExample(z, name, example) {
  if (name === 'translate-dib') return z.translateDIB(bytesOfBitmap(example.bitmap));
  if (name === 'convert-from-dib') return z.convertFromDIB(bytesOfBitmap(example.bitmap), { depth: example.depth, channels: 1 });
  const source = ofRows(example.source, example.depth);
  if (name === 'convert-to-dib') return { data: z.convertToDIB(source, { bits: example.bitmap.bits }).subarray(40) };

  const operation = OPERATIONS.find((o) => o.word === name);
  const entry = DESCRIPTION.operations.find((o) => o.name === name);
  const camel = Object.fromEntries(entry.parameters.map((p, i) => [p.name, operation.parameters[i].name]));
  const given = Object.fromEntries(Object.entries(example.arguments ?? {}).map(([key, value]) => [camel[key], argument(value)]));
  const pictures = [source, ...(example.second ? [ofRows(example.second, example.depth)] : [])];
  if (operation.options.includes('depth') || name === 'convert') given.depth = example.resultDepth ?? example.depth;
  const list = operation.arguments.slice(pictures.length).map((key) => given[key]);
  const { depth } = given;
  const result = z[operation.name](...pictures, ...list, name === 'convert' || !depth ? {} : { depth });
  if (example.secondResult) assert.deepEqual(samples(pictures[1]), example.secondResult.flat(2));
  return result ?? source;
}

for (const [build, z] of BUILDS) {
  test(`${build}: every operation gives its example`, () => {
    for (const { name, function: cName, example } of DESCRIPTION.operations) {
      const own = OWN[name] ?? OPERATIONS.find((o) => o.function === cName).name;
      assert.equal(typeof z[own], 'function', cName);
      const result = runExample(z, name, example);
      if (typeof result === 'number') {
        assert.equal(result, example.result, name);
      } else {
        const values = Array.isArray(result) ? result.flatMap((counts) => [...counts]) : samples(result);
        assert.deepEqual(values, example.result.flat(2), name);
      }
    }
  });
}

// ---- formulas --------------------------------------------------------------------------------

/** Sample (x, y) of a channel with what lies outside by a border. */
function at(image, x, y, channel, border) {
  const { width, height, channels, data } = image;
  const place = (i, size) => {
    if (border === 'replicate') return Math.min(Math.max(i, 0), size - 1);
    if (border === 'wrap') return ((i % size) + size) % size;
    const turn = ((i % (2 * size)) + 2 * size) % (2 * size);
    return turn < size ? turn : 2 * size - 1 - turn;
  };
  if (typeof border === 'number' && (x < 0 || y < 0 || x >= width || y >= height)) return border;
  return data[(place(y, height) * width + place(x, width)) * channels + channel];
}

/** A picture of the same shape, each sample made of the box around it, row by row. */
function aroundEach(image, rows, columns, border, make) {
  const result = [];
  for (let y = 0; y < image.height; ++y) {
    for (let x = 0; x < image.width; ++x) {
      for (let c = 0; c < image.channels; ++c) {
        const box = [];
        for (let i = 0; i < rows; ++i) {
          for (let j = 0; j < columns; ++j) box.push(at(image, x + j - (columns >> 1), y + i - (rows >> 1), c, border));
        }
        result.push(make(box));
      }
    }
  }
  return result;
}

const WEIGHTS = [1, -2, 3, 4, 5, -6, 7, 8, 9, 1, 0, -1, 2, 3, 2];
const FORMULAS = {
  medianFilter: { depths: ['1U', '8U', '8S', '16U', '32S'], make: () => (box) => box.sort((a, b) => a - b)[box.length >> 1] },
  maxFilter: { depths: ['8U', '16S'], make: () => (box) => Math.max(...box) },
  minFilter: { depths: ['8S', '16U'], make: () => (box) => Math.min(...box) },
  blur: { depths: ['8U', '16U'], make: () => (box) => Math.floor(box.reduce((a, b) => a + b) / box.length) },
  convolve2D: { depths: ['8U', '8S', '16U'], make: (depth) => (box) =>
    clamp(box.reduce((sum, v, i) => sum + v * WEIGHTS[i], 0) >> 2, depth) },
};

for (const [build, z] of BUILDS) {
  test(`${build}: filters give what formulas give`, () => {
    for (const [name, { depths, make }] of Object.entries(FORMULAS)) {
      for (const depth of depths) {
        for (const border of ['replicate', 'mirror', 'wrap', 1]) {
          const image = picture(7, 41, 13, { depth, channels: depth === '1U' ? 1 : 3 });
          const [rows, columns] = [3, 5];
          const result = name === 'convolve2D'
            ? z.convolve2D(image, { values: [0, 1, 2].map((i) => WEIGHTS.slice(5 * i, 5 * i + 5)), shift: 2 }, { border })
            : z[name](image, rows, columns, { border });
          assert.deepEqual(samples(result), aroundEach(image, rows, columns, border, make(depth)), `${name} ${depth} ${border}`);
        }
      }
    }
  });

  test(`${build}: single pixels`, () => {
    for (const depth of ['8U', '8S', '16U', '16S']) {
      const [a, b] = [picture(1, 37, 5, { depth, channels: 2 }), picture(2, 37, 5, { depth, channels: 2 })];
      const each = (make) => samples(a).map((v, i) => clamp(make(v, b.data[i]), depth));
      assert.deepEqual(samples(z.add(a, b)), each((v, w) => v + w));
      assert.deepEqual(samples(z.subtract(a, b, true)), each((v, w) => w - v));
      assert.deepEqual(samples(z.addS(a, -20)), each((v) => v - 20));
      assert.deepEqual(samples(z.threshold(a, 50)), each((v) => (v < 50 ? -Infinity : Infinity)));
    }
    const a = picture(3, 9, 4);
    const mirrored = z.mirror(a, 'both');
    assert.deepEqual(samples(mirrored), samples(a).reverse());
    assert.deepEqual(z.computeHisto(a)[0][a.data[0]], samples(a).filter((v) => v === a.data[0]).length);
    assert.equal(z.norm(a, { normType: 'l1' }), samples(a).reduce((x, y) => x + y));
  });
}

test('both builds give the same bits for every operation and depth', () => {
  const [[, one], [, other]] = BUILDS;
  const values = { value: 77, shift: 3, kernel: [[1, 2, 1], [2, 4, 2]], xkernel: [1, 2, 1], ykernel: [3, 1], fillValue: 9,
    cTwist: [[0.3, 0.5, 0.1, 7], [0, 1, 0, 0], [1, 0, 0, 0]], angle: 1234, flipAxis: 'both', threshold: 90, scale: 99, aA: 40,
    aB: 200, lut: { key: [0, 90, 200], value: [200, 10], factor: [1, 2] } };
  let calls = 0;
  for (const operation of OPERATIONS) {
    const pairs = Array.isArray(operation.depths) ? operation.depths.map((d) => [d, [d]]) : Object.entries(operation.depths);
    for (const [source, results] of pairs) {
      for (const depth of results) {
        for (const channels of [1, 3, 4]) {
          const layout = { 1: 'gray', 3: 'color', 4: 'color-alpha' }[channels];
          const { layouts } = operation;
          const taken = layouts === 'any' || (Array.isArray(layouts) ? layouts.includes(layout) : layout in layouts);
          if (!taken || ((source === '1U' || depth === '1U') && channels > 1 && operation.name !== 'colorToGray')) continue;
          const answers = [one, other].map((z) => {
            const images = [1, 2].map((seed) => picture(seed, 33, 17, { depth: source, channels }));
            const given = operation.arguments.slice(0, operation.required).map((name, i) =>
              (/^(srcImage|image|src)/.test(name) ? images[i] : name === 'depth' ? depth : values[name]));
            const more = operation.options.includes('depth') ? { depth } : {};
            const result = z[operation.name](...given, more);
            return [result?.data ?? result, images.map((i) => i.data)];
          });
          assert.deepEqual(answers[0], answers[1], `${operation.name} ${source} ${depth} ${channels}`);
          ++calls;
        }
      }
    }
  }
  assert.ok(calls > 400, `${calls} calls`);
});
