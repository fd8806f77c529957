/** Regions, channels, orders, alphas and the forms that pictures are given in. */
import assert from 'node:assert/strict';
import { test } from 'node:test';
import { BUILDS, OPERATIONS, Picture, ofRows, picture, samples } from './support.js';

const [[, z]] = BUILDS;
const ROI = { x: 3, y: 2, width: 12, height: 9 };

/** The region of a picture, or one channel of it, as a picture of its own. */
function cut(image, { x, y, width, height } = { x: 0, y: 0, ...image }, channel = 0) {
  const data = [];
  for (let row = y; row < y + height; ++row) {
    for (let column = x; column < x + width; ++column) {
      const at = (row * image.width + column) * image.channels;
      data.push(...(channel ? [image.data[at + channel - 1]] : image.data.subarray(at, at + image.channels)));
    }
  }
  return new Picture(image.data.constructor.from(data), width, height, { depth: image.depth });
}

function planes(image) {
  const data = [];
  for (let c = 1; c <= image.channels; ++c) data.push(...cut(image, undefined, c).data);
  return new Picture(image.data.constructor.from(data), image.width, image.height, { order: 'plane' });
}

const ONE_PICTURE = OPERATIONS.filter((o) => o.result === 'same' && o.depths.includes?.('8U') && o.layouts.length === 4
  && o.required === 1 && !o.models);

test('a channel of interest is that channel alone, planes are what pixels are', () => {
  assert.ok(ONE_PICTURE.length > 9, `${ONE_PICTURE.length}`);
  const image = picture(5, 23, 17, { channels: 3 });
  for (const { name } of ONE_PICTURE) {
    const alone = z[name](cut(image, undefined, 2));
    assert.deepEqual(samples(z[name]({ ...image, channel: 2 })), samples(alone), name);
    const whole = z[name](image);
    assert.deepEqual(z[name](planes(image)).data, planes(whole).data, name);
    const target = picture(9, 23, 17, { channels: 3 });
    const before = samples(target);
    assert.equal(z[name]({ ...image, channel: 2 }, { out: Object.assign(target, { channel: 3 }) }), target);
    assert.deepEqual(samples(cut(target, undefined, 3)), samples(alone), name);
    assert.ok(before.every((v, i) => i % 3 === 2 || v === target.data[i]), name);
  }
});

test('a region is what the same region of the whole is', () => {
  for (const depth of ['1U', '8U', '16U']) {
    const image = picture(5, 23, 17, { depth });
    const part = { ...image, roi: ROI };
    for (const name of ['medianFilter', 'maxFilter', 'erode']) { // which look around the region
      assert.deepEqual(samples(z[name](part)), samples(cut(z[name](image), ROI)), name);
    }
    for (const name of ['not', 'square', 'copy']) {
      assert.deepEqual(samples(z[name](part)), samples(z[name](cut(image, ROI))), name);
    }
    assert.deepEqual(samples(z.mirror(part, 'both')), samples(z.mirror(cut(image, ROI), 'both')));
    assert.equal(z.zoom(part, 3, 2).width, 18);
    const around = picture(6, 30, 20, { depth });
    const before = around.data.slice();
    z.not(part, { out: Object.assign(around, { roi: { ...ROI, x: 7 } }) });
    assert.deepEqual(samples(cut(around, { ...ROI, x: 7 })), samples(z.not(cut(image, ROI))));
    z.not(Object.assign(around), { out: around }); // back again, in place
    const inverted = cut(image, ROI).data;
    assert.deepEqual(samples(cut(around, { ...ROI, x: 7 })), samples({ data: inverted }));
    z.copy({ data: before, width: 30, height: 20, depth, roi: { ...ROI, x: 7 } }, { out: around });
    assert.deepEqual(around.data, before);
  }
});

test('operations that change their pictures', () => {
  const a = picture(1, 8, 6);
  const b = picture(2, 8, 6);
  const [oldA, oldB] = [a.data.slice(), b.data.slice()];
  z.exchange(a, b);
  assert.deepEqual([a.data, b.data], [oldB, oldA]);
  z.set({ ...a, roi: { x: 1, y: 1, width: 2, height: 1 } }, 300);
  assert.deepEqual(samples(a).slice(8, 12), [oldB[8], 255, 255, oldB[11]]);
  const colour = new Picture(Uint8Array.of(200, 100, 50, 128), 1, 1);
  assert.deepEqual(samples(z.preMultiplyAlpha(colour)), [100, 50, 25, 128]);
  assert.deepEqual(samples(colour), [200, 100, 50, 128]);
});

test('the alpha of a picture stays where pixels stand alone, and moves with them', () => {
  const image = picture(3, 7, 5, { channels: 4 });
  const declared = { ...image, alpha: 4 };
  const alphas = (p) => samples(p).filter((_, i) => i % 4 === 3);
  const inverted = z.not(declared);
  assert.equal(inverted.alpha, 4);
  assert.deepEqual(alphas(inverted), alphas(image));
  assert.deepEqual(samples(inverted).map((v, i) => (i % 4 === 3 ? v : 255 - v)), samples(image));
  assert.deepEqual(alphas(z.not(image)), alphas(image).map((v) => 255 - v));
  assert.deepEqual(alphas(z.mirror(declared, 'both')), alphas(image).reverse());
  assert.deepEqual(alphas(z.rgb2HSV(declared)), alphas(image));
  assert.deepEqual(alphas(z.convolve2D(declared, [[3]])), alphas(image));
  assert.ok(samples(z.add(declared, inverted)).every((v, i) => v === (i % 4 === 3 ? image.data[i] : 255)));
  assert.equal(z.computeHisto(declared).length, 3);
});

test('an ImageData gives an ImageData', () => {
  globalThis.ImageData = class ImageData {
    constructor(data, width, height) {
      Object.assign(this, { data, width, height });
    }
  };
  try {
    const { data } = picture(4, 6, 5, { channels: 4 });
    const image = new ImageData(Uint8ClampedArray.from(data), 6, 5);
    const result = z.medianFilter(image, 5, 5);
    assert.ok(result instanceof ImageData && result.data instanceof Uint8ClampedArray);
    assert.deepEqual(samples(result), samples(z.medianFilter({ data, width: 6, height: 5 }, 5, 5)));
    assert.equal(z.not(image).data[3], image.data[3]);
    const gray = z.colorToGray(image);
    assert.ok(gray instanceof Picture && gray.channels === 1);
    assert.deepEqual(samples(gray), samples(z.colorToGray({ data, width: 6, height: 5 })));
    assert.equal(z.not(image, { out: image }), image);
    assert.ok(gray.toImageData() instanceof ImageData);
  } finally {
    delete globalThis.ImageData;
  }
});

test('pictures for a canvas', () => {
  const shown = (image) => samples(image.toImageData());
  assert.deepEqual(shown(ofRows([[0, 1]], '1U')), [0, 0, 0, 255, 255, 255, 255, 255]);
  assert.deepEqual(shown(ofRows([[-128, 127]], '8S')), [0, 0, 0, 255, 255, 255, 255, 255]);
  assert.deepEqual(shown(ofRows([[0x1234]], '16U')), [0x12, 0x12, 0x12, 255]);
  assert.deepEqual(shown(new Picture(Int32Array.of(0, -(2 ** 31), 2 ** 31 - 1), 1, 1)), [128, 0, 255, 255]);
  const swapped = new Picture(Uint8Array.of(1, 2, 3, 4, 5, 6, 7, 8), 1, 2,
    { channelSeq: 'BGRA', alpha: 4, origin: 'bottom' });
  assert.deepEqual(shown(swapped), [7, 6, 5, 8, 3, 2, 1, 4]);
});

test('colours in another order, and spectra that come back', () => {
  const image = picture(8, 16, 12, { channels: 3 });
  const data = Uint8Array.from(image.data, (_, i) => image.data[i - (i % 3) + 2 - (i % 3)]);
  const swapped = new Picture(data, 16, 12, { channelSeq: 'BGR' });
  assert.deepEqual(samples(z.rgb2HSV(swapped)), samples(z.rgb2HSV(image)));
  const hsv = z.rgb2HSV(image);
  assert.equal(hsv.colorModel, 'HSV');
  assert.ok(samples(z.hsv2RGB(hsv)).every((v, i) => Math.abs(v - image.data[i]) < 10));
  const near = (back) => samples(back).every((v, i) => Math.abs(v - image.data[i]) <= 1);
  assert.ok(near(z.ccsFft2D(z.realFft2D(image), { depth: '8U' })));
  assert.ok(near(z.dct2D(z.dct2D(image), 'inverse', { depth: '8U' })));
  assert.ok(near(z.ccsFft2D(z.realFft2D(image, 'forward|keep-tables'), { depth: '8U' })));
});

test('compositing with alphas apart gives what they give as channels', () => {
  const [a, b] = [picture(14, 6, 5, { channels: 4 }), picture(15, 6, 5, { channels: 4 })];
  const without = (p) => ({ data: p.data.filter((_, i) => i % 4 < 3), width: 6, height: 5 });
  const whole = z.alphaComposite(a, b, { compositeType: 'xor' });
  const apart = picture(16, 6, 5);
  const result = z.alphaComposite(without(a), without(b), { alphaImageA: { ...a, channel: 4 }, alphaImageB: { ...b, channel: 4 },
    alphaImageDst: apart, compositeType: 'xor' });
  assert.deepEqual(samples(result), samples(without(whole)));
  assert.deepEqual(samples(apart), samples(cut(whole, undefined, 4)));
});

test('bitmaps there and back', () => {
  for (const channels of [1, 3, 4]) {
    const image = picture(9, 7, 3, { channels });
    for (const bits of channels === 4 ? [32] : [24, 32]) {
      const dib = z.convertToDIB(image, { bits });
      const back = z.convertFromDIB(dib, { channels: Math.min(channels, 3) });
      assert.deepEqual(samples(back), samples(image).filter((_, i) => channels < 4 || i % 4 < 3));
    }
  }
  const gray = picture(10, 9, 5, { range: [0, 3] });
  const table = [[0, 0, 0], [1, 1, 1], [2, 2, 2], [3, 3, 3]];
  const dib = z.convertToDIB(gray, { bits: 4, table });
  assert.equal(dib.length, 40 + 16 + 5 * 8);
  assert.deepEqual(samples(z.convertFromDIB(dib, { channels: 1 })), samples(gray));
  const bits = z.translateDIB(z.convertToDIB(ofRows([[1, 0, 1]], '1U'), { bits: 1, table: [[0, 0, 0], [255, 255, 255]] }));
  assert.deepEqual([bits.depth, ...bits.data], ['1U', 1, 0, 1]);
  const median = z.convertToDIB(picture(11, 20, 20, { channels: 3 }), { bits: 8 });
  assert.ok(median.length <= 40 + 1024 + 400);
  assert.throws(() => z.convertFromDIB(dib.subarray(0, 50)), /dib: 96 bytes are needed, not 50/);
});

test('values: words, numbers, kernels and what follows from others', () => {
  const image = picture(12, 9, 9);
  const same = (a, b) => assert.deepEqual(samples(a), samples(b));
  same(z.medianFilter(image, 5, 3), z.medianFilter(image, { nRows: 5, nCols: 3, anchorX: 1, anchorY: 2 }));
  same(z.zoom(image, 3, 2), z.zoom(image, 3, 2, 3, 2, 'linear'));
  same(z.rotate(image, 3000), z.rotate(image, 3000, 4, 4, 1));
  same(z.convolveSep2D(image, [1, 2, 1], [1, 3]), z.convolveSep2D(image, [[1, 2, 1]], [[1], [3]]));
  same(z.convolve2D(image, [[[1]], { values: [[2]] }], 'max'), z.convolve2D(image, [[2]]));
  same(z.convolve2D(image, [[1, 2], [3, 4]]), z.convolve2D(image, [{ values: [[1, 2], [3, 4]], anchor: [1, 1] }]));
  same(z.convolve2D(image, [[1, 0]]), z.convolve2D(image, { values: [[1, 0]], anchor: [1, 0] }));
  const colour = picture(13, 5, 5, { channels: 3 });
  same(z.applyColorTwist(colour, [[0.5, 0, 0, 3], [0, 1, 0, 0], [0, 0, 1, 0]]),
    z.applyColorTwist(colour, { data: [1, 0, 0, 6, 0, 2, 0, 0, 0, 0, 2, 0], scale: 1 }));
  same(z.bitonalToGray(ofRows([[1, 0]], '1U'), { depth: '16U' }), { data: [65535, 0] });
  assert.equal(z.convolve2D(image, [[1]], { depth: '8S' }).depth, '8S');
});
