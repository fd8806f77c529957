/** The page in a browser: it loads, runs chains to the bit, and works by keyboard and on a phone. */
import assert from 'node:assert/strict';
import { mkdirSync, writeFileSync } from 'node:fs';
import { join } from 'node:path';
import { after, before, test } from 'node:test';
import { fileURLToPath } from 'node:url';
import { ran, startBrowser } from './browser.js';
import { CHAINS } from './chains.js';
import { FOLDER, readPnm, runShell, writePnm } from './native.js';
import { drawSample } from '../../build/web/page/samples.js';

const SCREENSHOTS = fileURLToPath(new URL('../../build/web/screenshots/', import.meta.url));
const hashOf = ([picture, chain]) => `#picture=${picture}&chain=${chain.replaceAll(' ', '+')}`;

let browser;
before(async () => {
  mkdirSync(SCREENSHOTS, { recursive: true });
  browser = await startBrowser();
});
after(() => browser.stop());

async function runs(page) {
  return Number(await page.locator('body').getAttribute('data-runs'));
}

/** Does something after which the chain runs, and waits for its end. */
async function change(page, act) {
  const count = await runs(page);
  await act();
  await ran(page, count + 1);
}

/** The file that a button saves, as a picture. */
async function saved(page, button, name) {
  const [download] = await Promise.all([page.waitForEvent('download'), page.click(button)]);
  await download.saveAs(join(FOLDER, `${name}.png`));
  runShell(`zyl ${name}.png ${name}.pnm`);
  return readPnm(join(FOLDER, `${name}.pnm`));
}

test('ten chains and more give the bits of zyl, by the command that the page shows', async () => {
  assert.ok(CHAINS.length >= 10);
  const page = await browser.open('#picture=chart');
  for (const chain of CHAINS) {
    await change(page, () => page.evaluate((hash) => { location.hash = hash; }, hashOf(chain)));
    assert.equal(await page.locator('#status').textContent(), '', chain[1]);
    const [original, result] = [await saved(page, '#save-before', chain[0]), await saved(page, '#save-after', 'after')];
    assert.ok(Buffer.from(original.data).equals(Buffer.from(drawSample(chain[0]).data)));
    runShell((await page.locator('#snippet').textContent()).replace(/out\.png$/, 'out.pnm'));
    const native = readPnm(join(FOLDER, 'out.pnm'));
    assert.deepEqual([result.width, result.height, result.depth], [native.width, native.height, native.depth], chain[1]);
    assert.ok(Buffer.from(result.data.buffer).equals(Buffer.from(native.data.buffer)), chain[1]);
  }
  await page.context().close();
  assert.deepEqual(browser.errors, []);
});

test('by keyboard alone: add, change, move and remove', async () => {
  const page = await browser.open('#picture=cells');
  const steps = () => page.locator('#steps strong').allTextContents();
  await page.keyboard.press('/');
  await page.keyboard.type('medi');
  await change(page, () => page.keyboard.press('Enter'));
  await page.keyboard.press('/'); // while a slider has the focus
  await page.keyboard.type('shift');
  await page.keyboard.press('ArrowDown');
  await page.keyboard.press('ArrowDown');
  await change(page, () => page.keyboard.press('Enter'));
  assert.deepEqual(await steps(), ['Median filter', 'Shift right']);
  await change(page, () => page.keyboard.press('ArrowRight'));
  assert.match(page.url(), /r-shift-s\(shift=2\)$/);
  assert.match(await page.locator('#snippet').textContent(), /r-shift-s:shift=2/);
  await change(page, async () => {
    await page.locator('[aria-label="Move Shift right up"]').focus();
    await page.keyboard.press('Enter');
  });
  assert.deepEqual(await steps(), ['Shift right', 'Median filter']);
  await change(page, async () => {
    await page.locator('[aria-label="Remove Shift right"]').focus();
    await page.keyboard.press('Enter');
  });
  assert.deepEqual(await steps(), ['Median filter']);
  assert.equal(await page.evaluate(() => document.activeElement.title), 'Remove Median filter');
  await page.locator('[role="tab"][aria-selected="true"]').focus();
  await page.keyboard.press('ArrowRight');
  assert.match(await page.locator('#snippet').textContent(), /zylMedianFilter\(picture, step1, 5, 5, 2, 2, NULL\);/);
  await page.keyboard.press('/');
  await page.keyboard.type('nothing like this');
  assert.equal(await page.locator('#choices').innerText(), 'No operation has these words.');
  await page.keyboard.press('Enter');
  await page.keyboard.press('Escape');
  assert.equal(await page.locator('#chooser').isVisible(), false);
  assert.deepEqual(await steps(), ['Median filter']);
  await page.context().close();
});

test('copies hold what is shown, and a link opens the same chain', async () => {
  const page = await browser.open(hashOf(CHAINS[1]));
  await page.click('text=JavaScript');
  await page.click('#copy');
  assert.equal(await page.evaluate(() => navigator.clipboard.readText()), await page.locator('#snippet').textContent());
  await page.click('#copy-link');
  const link = await page.evaluate(() => navigator.clipboard.readText());
  const other = await browser.open(new URL(link).hash);
  for (const where of ['#steps', '#after-shape']) {
    const text = async (p) => (await p.locator(where).innerText()).replace(/[\d.]+ ms/g, '');
    assert.equal(await text(other), await text(page));
  }
  await page.context().close();
  await other.context().close();
});

test('files: gray and colour are read to the bit, others are refused with a reason', async () => {
  const image = { ...drawSample('chart'), channels: 3 };
  writePnm(join(FOLDER, 'chart.ppm'), image);
  runShell('zyl chart.ppm resize:width=301 colour.png && zyl colour.png gray gray.png && zyl gray.png gray.jpg');
  writeFileSync(join(FOLDER, 'text.png'), 'this is no picture');
  writeFileSync(join(FOLDER, 'empty.png'), '');
  const page = await browser.open('#chain=not()');
  for (const [file, shape] of [['colour.png', '301 × 226, RGB, 8U'], ['gray.png', '301 × 226, gray, 8U'], ['gray.jpg', '301 × 226, gray, 8U']]) {
    await change(page, () => page.setInputFiles('#file', join(FOLDER, file)));
    assert.equal(await page.locator('#before-shape').textContent(), shape);
    if (file.endsWith('.jpg')) continue;
    const result = await saved(page, '#save-after', 'after');
    runShell(`${await page.locator('#snippet').textContent()}`.replace(/out\.png$/, 'out.pnm'));
    assert.deepEqual(result, readPnm(join(FOLDER, 'out.pnm')));
  }
  for (const [file, words] of [['text.png', /^text\.png cannot be read: it is damaged, or of a kind/], ['empty.png', /^empty\.png cannot be read: it is empty/]]) {
    await page.setInputFiles('#file', join(FOLDER, file));
    await page.waitForFunction(() => document.querySelector('#status').classList.contains('wrong'));
    assert.match(await page.locator('#status').textContent(), words);
    assert.equal(await page.locator('#before-shape').textContent(), '301 × 226, gray, 8U'); // what was there stays
  }
  const bytes = [...runShell('cat colour.png')];
  await change(page, () => page.evaluate((list) => {
    const dataTransfer = new DataTransfer();
    dataTransfer.items.add(new File([Uint8Array.from(list)], 'dropped.png'));
    document.body.dispatchEvent(new DragEvent('dragenter', { dataTransfer, bubbles: true }));
    document.body.dispatchEvent(new DragEvent('drop', { dataTransfer, bubbles: true, cancelable: true }));
  }, bytes));
  assert.match(await page.locator('#snippet').textContent(), /^zyl dropped\.png/);
  assert.equal(await page.locator('#drop').isVisible(), false);
  await page.context().close();
});

test('what cannot be done is said, and where', async () => {
  const page = await browser.open('#picture=cells&chain=not()~gray-to-color()~nonsense()');
  assert.match(await page.locator('#status').textContent(), /^The link has a step that is not known: nonsense/);
  await change(page, () => page.click('text=Chart'));
  assert.match(await page.locator('#status').textContent(), /^Step 2, grayToColor: the .* do not go together\.$/);
  assert.equal(await page.locator('#steps > li').nth(1).getAttribute('class'), 'wrong');
  await change(page, () => page.locator('[aria-label="Remove Gray to color"]').click());
  assert.equal(await page.locator('#status').textContent(), '');
  await page.context().close();
});

test('the page stays quick and does not jump while sliders move', async () => {
  const page = await browser.open('#picture=valley&chain=median-filter()~blur(nRows=9;nCols=9)');
  await page.evaluate(() => {
    window.shifts = 0;
    new PerformanceObserver((list) => list.getEntries().forEach((e) => { window.shifts += e.value; })).observe({ type: 'layout-shift' });
    window.longest = 0;
    let last = performance.now();
    const frame = (now) => {
      window.longest = Math.max(window.longest, now - last);
      last = now;
      requestAnimationFrame(frame);
    };
    requestAnimationFrame(frame);
  });
  await page.locator('#steps input[type="range"]').first().focus();
  await change(page, async () => {
    for (const key of ['ArrowRight', 'ArrowRight', 'ArrowRight', 'ArrowLeft', 'End', 'Home']) await page.keyboard.press(key);
  });
  const { shifts, longest } = await page.evaluate(() => ({ shifts: window.shifts, longest: window.longest }));
  assert.ok(shifts < 0.01, `shifts ${shifts}`);
  assert.ok(longest < 1500, `a frame took ${longest} ms`); // a median of 9 x 9 in the page itself would take longer on a slow machine
  assert.equal(await page.locator('#steps input[type="number"]').first().inputValue(), '1');
  await page.context().close();
});

const VIEWS = [
  ['wide', CHAINS[1], {}],
  ['dark', CHAINS[4], { colorScheme: 'dark' }],
  ['phone', CHAINS[5], { viewport: { width: 390, height: 844 }, isMobile: true, hasTouch: true, colorScheme: 'dark' }],
  ['narrow', CHAINS[4], { viewport: { width: 320, height: 640 }, isMobile: true, hasTouch: true }],
];

test('nothing overflows, from a phone to a screen, in light and dark', async () => {
  for (const [name, chain, options] of VIEWS) {
    const page = await browser.open(hashOf(chain), options);
    const wide = await page.evaluate(() => {
      const out = [...document.querySelectorAll('body *')].filter((e) => e.getBoundingClientRect().right > innerWidth + 1 && !e.closest('pre'));
      return [document.documentElement.scrollWidth - innerWidth, ...out.map((e) => e.outerHTML.slice(0, 60))];
    });
    assert.ok(wide.length === 1 && wide[0] <= 0, `${name}: ${wide}`);
    const colours = await page.evaluate(() => ['color', 'backgroundColor'].map((key) => getComputedStyle(document.body)[key]));
    const light = colours.map((text) => text.match(/\d+/g).slice(0, 3).reduce((a, b) => a + Number(b), 0));
    assert.equal(light[0] > light[1], options.colorScheme === 'dark', name);
    await page.screenshot({ path: join(SCREENSHOTS, `${name}.png`) });
    await page.context().close();
  }
  assert.deepEqual(browser.errors, []);
});
