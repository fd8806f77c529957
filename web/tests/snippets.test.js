/** What the page says is the same really is: zyl, C and Python give the bits of JavaScript. */
import assert from 'node:assert/strict';
import { execFileSync } from 'node:child_process';
import { readFileSync, writeFileSync } from 'node:fs';
import { join } from 'node:path';
import { test } from 'node:test';
import { CHAINS } from './chains.js';
import { FOLDER, PYTHON, compile, readPnm, runShell, writePnm } from './native.js';
import { OFFERED, chainOf, chainText, runStep, stepOf } from '../../build/web/page/chain.js';
import { drawSample } from '../../build/web/page/samples.js';
import { cText, jsText, pythonText, zylText } from '../../build/web/page/snippets.js';
import zylqx, { Picture } from '../../build/web/package/zylqx.js';

const z = await zylqx();

function originalOf(name) {
  const { data, width, height } = drawSample(name);
  return new Picture(data, width, height);
}

function results() {
  return CHAINS.map(([sample, text], i) => {
    const original = originalOf(sample);
    const chain = chainOf(text, assert.fail);
    let picture = original;
    for (const step of chain) picture = runStep(z, step, picture, original);
    writePnm(join(FOLDER, `${sample}.ppm`), original);
    return { name: `chain ${i + 1}, ${text}`, sample, chain, original, picture, context: { file: `${sample}.ppm`, channels: 3 } };
  });
}

const RESULTS = results();

function assertSame(found, { picture, name }) {
  assert.deepEqual([found.width, found.height], [picture.width, picture.height], name);
  const differ = found.data.findIndex((v, i) => v !== picture.data[i]);
  assert.ok(found.data.length === picture.data.length && differ === -1, `${name}: sample ${differ} of ${found.data.length}`);
}

test('zyl', () => {
  for (const result of RESULTS) {
    runShell(zylText(result.chain, result.context).replace(/out\.png$/, 'out.pnm'));
    assertSame(readPnm(join(FOLDER, 'out.pnm')), result);
  }
});

test('JavaScript', () => {
  for (const result of RESULTS) {
    const lines = jsText(result.chain, result.context).split('\n').filter((line) => /^image = z\./.test(line));
    const make = new Function('z', 'image', 'original', `${lines.join('\n')}\nreturn image;`);
    assert.equal(lines.length, result.chain.length);
    assertSame(make(z, result.original, result.original), result);
  }
});

const MAIN = `
#include <stdio.h>
#include <string.h>

int main(int argc, char **argv) {
    int width, height;
    FILE *in = fopen(argv[argc - 2], "rb"), *out = fopen(argv[argc - 1], "wb");
    if (fscanf(in, "P6 %d %d 255", &width, &height) != 2) return 1;
    fgetc(in);
    ZylImage *picture = make(3, ZYL_DEPTH_8U, "RGB", width, height);
    for (int y = 0; y < height; ++y)
        if (fread(picture->imageData + y * picture->widthStep, 3, width, in) != (size_t)width) return 1;
    ZylImage *result = process(picture);
    if (zylGetErrStatus() < 0) return 2;
    const int bits = (int)(result->depth & 0xFF) * result->nChannels * result->width;
    fprintf(out, "%d %d %d\\n", result->width, result->height, (bits + 7) / 8);
    for (int y = 0; y < result->height; ++y)
        fwrite(result->imageData + y * result->widthStep, 1, (bits + 7) / 8, out);
    fclose(out);
    return 0;
}
`;

/** The samples of rows of bytes, as a C program has written them. */
function readRows(bytes, depth) {
  const end = bytes.indexOf(10);
  const [width, height, stride] = bytes.toString('latin1', 0, end).split(' ').map(Number);
  const rows = new Uint8Array(bytes.subarray(end + 1));
  if (depth !== '1U') return { width, height, data: depth === '8U' ? rows : new Uint16Array(rows.buffer) };
  const sample = (_, i) => (rows[Math.floor(i / width) * stride + ((i % width) >> 3)] >> (7 - ((i % width) & 7))) & 1;
  return { width, height, data: Uint8Array.from({ length: width * height }, sample) };
}

test('C', () => {
  // One program for all chains, their functions with a number behind their names.
  const [head] = cText([stepOf('histoEqualize')], { channels: 3 }).split('\n/* A new image, made');
  const functions = RESULTS.map(({ chain, context }, i) =>
    cText(chain, context).replace(/^[^]*?(?=ZylImage \*process\()/, '').replace('process(', `process${i}(`));
  const pick = RESULTS.map((_, i) => `    if (which == ${i}) return process${i}(picture);`).join('\n');
  const program = compile('chains', `${head}\n${functions.join('\n')}\nstatic int which;
static ZylImage *process(ZylImage *picture) {\n${pick}\n    return NULL;\n}\n
${MAIN.replace('int width, height;', 'which = atoi(argv[1]);\n    int width, height;')}`);
  for (const [i, result] of RESULTS.entries()) {
    execFileSync(program, [String(i), join(FOLDER, result.context.file), join(FOLDER, 'rows')]);
    assertSame(readRows(readFileSync(join(FOLDER, 'rows')), result.picture.depth), result);
  }
});

test('Python', { skip: PYTHON ? false : 'the Python package is not built: make python' }, () => {
  for (const result of RESULTS) {
    const program = pythonText(result.chain, result.context).replace(/.*\.save\(.*|np\.save.*/, 'a.tofile("a.raw"); print(a.shape)');
    writeFileSync(join(FOLDER, 'chain.py'), program);
    const [height, width] = execFileSync(PYTHON, ['chain.py'], { cwd: FOLDER, encoding: 'utf8' }).match(/\d+/g).map(Number);
    const raw = new Uint8Array(readFileSync(join(FOLDER, 'a.raw')));
    assertSame({ width, height, data: result.picture.depth === '16U' ? new Uint16Array(raw.buffer) : raw }, result);
  }
});

test('links hold chains', () => {
  for (const { chain } of RESULTS) assert.deepEqual(chainOf(chainText(chain), assert.fail), chain);
  for (const { name } of OFFERED) assert.deepEqual(chainOf(chainText([stepOf(name)]), assert.fail), [stepOf(name)]);
  const complaints = [];
  const chain = chainOf('blur(nRows=x;nCols=4)~nonsense(1)~not(~median-filter(border=up;side=2)', (text) => complaints.push(text));
  assert.deepEqual(chain.map(({ name, values }) => [name, values.nCols]), [['blur', 4], ['medianFilter', 5]]);
  assert.equal(complaints.length, 5);
});

test('every operation that the page offers runs, and in all languages', () => {
  assert.ok(OFFERED.length > 40, `${OFFERED.length}`);
  const original = originalOf('cells');
  const gray = z.colorToGray(original);
  const bits = z.convert(gray, '1U');
  for (const { name } of OFFERED) {
    const step = stepOf(name);
    const taken = { grayToColor: gray, bitonalToGray: bits }[name] ?? original;
    const first = runStep(z, step, taken, taken);
    assert.ok(first.width > 0, name);
    for (const text of [cText, jsText, pythonText, zylText]) {
      assert.doesNotMatch(text([step], { file: 'a.png', channels: 3 }), /undefined|NaN|\[object/, name);
    }
  }
});
