/** What goes wrong says so, and leaves no memory behind. */
import assert from 'node:assert/strict';
import { readFile } from 'node:fs/promises';
import { test } from 'node:test';
import zylqx, { Picture, ZylqxError } from '../../build/web/package/zylqx.js';
import { BUILDS, OPERATIONS, picture } from './support.js';

test('reports of the library are exceptions', () => {
  for (const [, z] of BUILDS) {
    const image = picture(1, 8, 8);
    assert.throws(() => z.zoom(image, 1, 2), (error) => {
      assert.ok(error instanceof ZylqxError && error instanceof Error);
      assert.equal(error.status, -5);
      assert.equal(error.function, 'zylZoom');
      assert.equal(error.text, 'xU < xL || yU < yL');
      assert.equal(error.sentence, 'the factors make the picture smaller; use decimate');
      assert.equal(error.message, `zylZoom: ${error.sentence} (status -5, "${error.text}")`);
      return true;
    });
    assert.throws(() => z.add(image, { ...image, data: new Uint16Array(64), depth: '16U' }),
      { function: 'zylAdd', text: '(srcImageB->depth != dstImage->depth)' });
    assert.throws(() => z.add(image, picture(1, 8, 8, { channels: 3 })), { sentence: 'the numbers of channels do not go together' });
    assert.throws(() => z.medianFilter(image, 3, 3, 5, 1), { name: 'ZylqxError', sentence: /anchor/ });
    assert.equal(z.add(image, image).width, 8); // the next call is not disturbed
  }
});

test('arguments that do not fit are refused by name', () => {
  const [[, z]] = BUILDS;
  const image = picture(1, 8, 8);
  const cases = [
    [() => z.medianFilter(), TypeError, 'srcImage: medianFilter needs it'],
    [() => z.medianFilter([1, 2]), TypeError, /^srcImage: a Picture, an ImageData or an object/],
    [() => z.medianFilter(image, 2.5), TypeError, 'nRows: a whole number is needed, not 2.5'],
    [() => z.medianFilter(image, 0), RangeError, 'nRows: 1 to 2147483647 is allowed, not 0'],
    [() => z.medianFilter(image, 3, 3, { size: 1 }), TypeError, /^anchorX: a whole number/],
    [() => z.medianFilter(image, 1, 2, 3, 4, 5, 6), TypeError, /^medianFilter: at most 5 arguments/],
    [() => z.medianFilter(image, 3, 3, { border: 'edge' }), RangeError, /^border: constant, replicate, mirror, wrap or/],
    [() => z.addS(image), TypeError, 'value: addS needs it'],
    [() => z.mirror(image, 'left'), RangeError, 'flipAxis: "horizontal", "vertical" or "both" is needed, not "left"'],
    [() => z.realFft2D(image, 'keep-tables'), RangeError, 'flags: either "forward" or "inverse" is needed'],
    [() => z.realFft2D(image, 'forward|repeat'), RangeError, /^flags: .*, not "repeat"/],
    [() => z.add(image, picture(1, 8, 7)), RangeError, 'srcImageB: 8 x 7 pixels, but the first picture has 8 x 8'],
    [() => z.alphaComposite(picture(1, 4, 4, { channels: 4 }), picture(1, 4, 4, { channels: 4 }), { alphaImageDst: picture(1, 4, 3) }), RangeError,
      'alphaImageDst: 4 x 3 pixels, but the first picture has 4 x 4'],
    [() => z.add(image, image, { out: picture(1, 7, 8) }), RangeError, 'out: 8 x 8 pixels are needed, not 7 x 8'],
    [() => z.convert(image, '8S', { out: image }), TypeError, 'out: 8S is needed, not 8U'],
    [() => z.convert(image, '9U'), RangeError, /^depth: convert makes .*, not 9U/],
    [() => z.convolve2D(image, [[200]]), RangeError, 'kernel: -128 to 127 is allowed, not 200'],
    [() => z.convolve2D(image, [[1], [1, 2]]), RangeError, /^kernel: all rows have to be equally long/],
    [() => z.applyColorTwist(picture(1, 2, 2, { channels: 3 }), [1, 2]), RangeError, 'cTwist: 12 or 16 numbers are needed, not 2'],
    [() => z.contrastStretch(picture(1, 2, 2, { channels: 3 }), [{ key: [0, 1] }]), RangeError, /^lut: a table for each of 3/],
    [() => z.contrastStretch(image, { key: [0, 1, 2], value: [1] }), RangeError, /^lut.value: 2 numbers are needed/],
    [() => new Picture(new Uint8Array(5), 2, 2), RangeError, /^data: 2 x 2 pixels with equally many channels/],
    [() => new Picture(new Float32Array(4), 2, 2), TypeError, /^data: a Uint8Array/],
    [() => new Picture(new Uint8Array(4), 2, 2, { depth: '16U' }), TypeError, /^depth: samples of 16U lie in a Uint16Array/],
    [() => new Picture(new Uint8Array(4), 2, 2, { roi: { x: 1, y: 0, width: 2, height: 1 } }), RangeError, /^roi.width: 1 to 1/],
    [() => z.convertToDIB(image, { bits: 5 }), RangeError, 'bits: 1, 4, 8, 16, 24 or 32 is needed, not 5'],
    [() => z.decimate(picture(1, 2, 2), 1, 3), RangeError, 'decimate: nothing is left of 2 x 2 pixels'],
  ];
  for (const [call, name, message] of cases) assert.throws(call, { name: name.name, message }, String(call));
});

test('memory is given back, also when calls fail', () => {
  const [[, z]] = BUILDS;
  const image = picture(1, 300, 200, { channels: 3 });
  const kernels = Array(20).fill([[1, 2, 1]]);
  const round = () => {
    z.medianFilter(image, 3, 3);
    z.convolve2D(image, kernels, 'max');
    z.histoEqualize(image);
    z.convertFromDIB(z.convertToDIB(image, { bits: 8 }));
    z.translateDIB(z.convertToDIB(image));
    assert.throws(() => z.zoom(image, 1, 2));
    assert.throws(() => z.convolve2D(image, kernels, { out: { ...image, roi: { x: 0, y: 0, width: 1, height: 1 } } }));
    assert.throws(() => z.colorToGray(picture(1, 300, 300)));
    assert.throws(() => z.contrastStretch(image, { key: [5, 1], value: [1] }));
    assert.throws(() => z.add(image, { ...image, data: new Uint16Array(image.data), depth: '16U' }));
  };
  round();
  const before = z.memory;
  // Were a call to keep one picture, memory would have to grow by 30 times 180000 bytes.
  for (let i = 0; i < 30; ++i) round();
  assert.equal(z.memory, before);
});

test('a picture that is too large is refused, and nothing is kept of it', async () => {
  const z = await zylqx();
  const wide = new Picture(new Uint8Array(30000), 30000, 1);
  z.addS(wide, 1);
  const before = z.memory;
  assert.throws(() => z.zoom(wide, 300, 1), { name: 'RangeError', message: '9000000 x 300 pixels are too many for one call' });
  assert.throws(() => z.zoom(picture(1, 100, 100), 470, 1), /^RangeError: 47000 x 47000 pixels are too many for one call/);
  assert.equal(z.addS(wide, 1).data[5], 1);
  assert.equal(z.memory, before);
});

test('loading', async () => {
  const url = new URL('../../build/web/package/zylqx-plain.wasm', import.meta.url);
  const bytes = await readFile(url);
  const { version } = JSON.parse(await readFile(new URL('package.json', url), 'utf8'));
  for (const wasm of [url, bytes, await WebAssembly.compile(bytes)]) {
    const z = await zylqx({ wasm });
    assert.equal(z.version, version);
    assert.equal(z.not({ data: Uint8Array.of(1), width: 1, height: 1 }).data[0], 254);
  }
  await assert.rejects(zylqx({ wasm: new URL('file:///nowhere.wasm') }), /ENOENT/);
  const [[, simd], [, plain]] = BUILDS;
  assert.equal(Object.keys(simd).length, OPERATIONS.length + 5);
  assert.deepEqual(Object.keys(simd), Object.keys(plain));
});
