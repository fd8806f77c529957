/** Three pictures of the page's own, drawn by arithmetic: 640 x 480, red, green and blue. */
export const WIDTH = 640;
export const HEIGHT = 480;

/** A number from 0 to 1 for a point of a grid, the same every time. */
function noise(x, y, seed) {
  let n = Math.imul(x, 374761393) + Math.imul(y, 668265263) + Math.imul(seed, 974711);
  n = Math.imul(n ^ (n >>> 13), 1274126177);
  return ((n ^ (n >>> 16)) >>> 8) / 2 ** 24;
}

/** The same between the points, smooth. */
function smooth(x, y, seed) {
  const [column, row] = [Math.floor(x), Math.floor(y)];
  const ease = (t) => t * t * (3 - 2 * t);
  const [u, v] = [ease(x - column), ease(y - row)];
  const mix = (a, b, t) => a + (b - a) * t;
  return mix(mix(noise(column, row, seed), noise(column + 1, row, seed), u),
    mix(noise(column, row + 1, seed), noise(column + 1, row + 1, seed), u), v);
}

/** Sum of octaves from 0 to 1. */
function cloud(x, y, seed, octaves = 5) {
  let sum = 0;
  for (let i = 0, weight = 0.5; i < octaves; ++i, weight /= 2) sum += weight * smooth(x * 2 ** i, y * 2 ** i, seed + i);
  return sum;
}

function mixed(a, b, t) {
  const part = Math.min(Math.max(t, 0), 1);
  return a.map((v, i) => v + (b[i] - v) * part);
}

function land(x, y) {
  const horizon = 0.56 * HEIGHT;
  const mirrored = y > horizon;
  const wave = mirrored ? 5 * (cloud(x / 60, y / 6, 90, 2) - 0.4) : 0;
  const [px, py] = [x + 3 * wave, mirrored ? 2 * horizon - y - wave : y];
  const away = Math.hypot(px - 455, py - 118);
  let colour = mixed([62, 96, 158], [250, 196, 140], (py / horizon) ** 1.6);
  colour = mixed(colour, [255, 232, 190], 0.85 * Math.exp(-away / 60));
  if (away < 24) colour = [255, 246, 224];
  colour = mixed(colour, [255, 222, 200], 1.6 * Math.max(0, cloud(px / 190, py / 46, 7) - 0.5));
  const ridges = [[0.55, 210, 60, [142, 140, 172]], [0.7, 130, 72, [96, 100, 134]], [0.86, 80, 60, [48, 62, 82]]];
  for (const [top, size, height, shade] of ridges) {
    const ridge = horizon * top - height * (cloud(px / size, top * 9, 31 + size, 6) - 0.5) * 2;
    if (py < ridge) continue;
    const snow = py < ridge + 26 * cloud(px / 21, py / 12, 5, 3) - 6 && size > 100;
    colour = mixed(shade, [196, 178, 178], (py - ridge) / horizon * 0.9);
    colour = mixed(colour, snow ? [232, 226, 234] : [30, 40, 54], snow ? 0.6 : 0.35 * cloud(px / 9, py / 9, 12, 3));
  }
  return mirrored ? mixed(mixed(colour, [34, 58, 92], 0.32), [255, 240, 220], 0.5 * Math.max(0, cloud(x / 40, y / 3, 55, 2) - 0.62)) : colour;
}

const CELLS = Array.from({ length: 46 }, (_, i) => ({
  x: noise(i, 1, 3) * WIDTH, y: noise(i, 2, 3) * HEIGHT, radius: 12 + 22 * noise(i, 3, 3), bright: 0.45 + 0.55 * noise(i, 4, 3),
  squeeze: 0.7 + 0.6 * noise(i, 5, 3) }));

/** Round cells under a microscope, unevenly lit, with specks. */
function cells(x, y) {
  let light = 0;
  for (const { x: cx, y: cy, radius, bright, squeeze } of CELLS) {
    const away = Math.hypot((x - cx) * squeeze, (y - cy) / squeeze) / radius;
    if (away > 1.25) continue;
    const wall = Math.exp(-(((away - 0.9) / 0.12) ** 2));
    const core = Math.exp(-((away / 0.34) ** 2));
    light = Math.max(light, bright * ((away < 1 ? 0.5 : 0) + 0.45 * wall + 0.4 * core));
  }
  const lamp = 1 - 0.55 * Math.hypot((x - 220) / WIDTH, (y - 180) / HEIGHT);
  const base = [16 + 34 * lamp, 24 + 44 * lamp, 34 + 44 * lamp];
  const colour = mixed(base, [150, 250, 206], light * lamp).map((v) => v + 22 * (noise(x, y, 8) - 0.5));
  const speck = noise(x, y, 21);
  if (speck < 0.012) return [250, 250, 250];
  return speck > 0.988 ? [4, 4, 4] : colour;
}

/** Ramps, rings, lines and edges, on which it shows what a filter does. */
function chart(x, y) {
  const [cx, cy] = [x - 200, y - 190];
  if (y >= 400) {
    if (y < 440) return [x, x, x].map((v) => v * 255 / (WIDTH - 1));
    const bar = Math.floor(x / 80);
    return [bar & 1, bar & 2, bar & 4].map((bit) => (bit ? 230 : 25));
  }
  const away = Math.hypot(cx, cy);
  if (away < 170) return Array(3).fill(127.5 + 127.5 * Math.cos(away * away / 110));
  if (x > 400 && y < 130) return Array(3).fill(Math.floor((x - 400) / Math.ceil((y + 10) / 20)) % 2 ? 245 : 10);
  if (x > 400 && y < 260) return (x - 520) * 0.94 + (y - 195) * 0.34 > 0 ? [225, 90, 60] : [40, 90, 150];
  if (x > 400) {
    const ball = Math.hypot(x - 520, y - 330) / 58;
    if (ball > 1) return [92, 96, 104];
    const lit = Math.sqrt(1 - ball * ball) * 0.7 - (x - 520) / 160 - (y - 330) / 140;
    return mixed([36, 30, 62], [255, 214, 120], lit + 0.12);
  }
  return [200, 198, 190];
}

const DRAWN = { valley: land, cells, chart };
export const SAMPLES = [
  { name: 'valley', title: 'Valley' },
  { name: 'cells', title: 'Cells' },
  { name: 'chart', title: 'Chart' },
];

/** { data, width, height } of a sample. */
export function drawSample(name) {
  const draw = DRAWN[name];
  const data = new Uint8Array(3 * WIDTH * HEIGHT);
  for (let y = 0, at = 0; y < HEIGHT; ++y) {
    for (let x = 0; x < WIDTH; ++x, at += 3) {
      const colour = draw(x, y);
      for (let c = 0; c < 3; ++c) data[at + c] = Math.min(Math.max(Math.round(colour[c]), 0), 255);
    }
  }
  return { data, width: WIDTH, height: HEIGHT };
}
