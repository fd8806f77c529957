/** The library's tool, for results to compare with, and the files that it takes. */
import { execFileSync } from 'node:child_process';
import { existsSync, mkdtempSync, readFileSync, writeFileSync } from 'node:fs';
import { tmpdir } from 'node:os';
import { join } from 'node:path';
import { fileURLToPath } from 'node:url';

const BUILD = process.env.ZYLQX_BUILD ?? fileURLToPath(new URL('../../build/release', import.meta.url));
const ROOT = fileURLToPath(new URL('../..', import.meta.url));
const VENV_PYTHON = process.env.ZYLQX_PYTHON ?? join(ROOT, 'build/python/venv/bin/python');

export const PYTHON = existsSync(VENV_PYTHON) ? VENV_PYTHON : null;
export const FOLDER = mkdtempSync(join(tmpdir(), 'zylqx-'));

/** Writes a picture of 8 bits as PNM. */
export function writePnm(path, { data, width, height, channels }) {
  const head = Buffer.from(`P${channels === 1 ? 5 : 6}\n${width} ${height}\n255\n`);
  writeFileSync(path, Buffer.concat([head, Buffer.from(data)]));
}

/** The picture of a PNM file. */
export function readPnm(path) {
  const bytes = readFileSync(path);
  const [head, kind, width, height, most] = /^P([456])\s(\d+)\s(\d+)\s(?:(\d+)\s)?/.exec(bytes.toString('latin1', 0, 60));
  const [columns, rows, channels] = [Number(width), Number(height), kind === '6' ? 3 : 1];
  let at = head.length;
  if (kind === '4') at = /^P4\s\d+\s\d+\s/.exec(head)[0].length;
  const count = columns * rows * channels;
  if (kind === '4') { // bits that are set are black
    const stride = Math.ceil(columns / 8);
    const sample = (_, i) => 1 - ((bytes[at + Math.floor(i / columns) * stride + ((i % columns) >> 3)] >> (7 - ((i % columns) & 7))) & 1);
    return { data: Uint8Array.from({ length: count }, sample), width: columns, height: rows, channels, depth: '1U' };
  }
  if (most === '65535') {
    const data = Uint16Array.from({ length: count }, (_, i) => bytes.readUInt16BE(at + 2 * i));
    return { data, width: columns, height: rows, channels, depth: '16U' };
  }
  return { data: new Uint8Array(bytes.subarray(at)), width: columns, height: rows, channels, depth: '8U' };
}

/** Runs a command of the shell in the tests' folder, with zyl where it was built. */
export function runShell(command) {
  const env = { ...process.env, PATH: `${join(BUILD, 'tools')}:${process.env.PATH}` };
  return execFileSync('sh', ['-c', command], { cwd: FOLDER, env, stdio: ['ignore', 'pipe', 'pipe'] });
}

/** Compiles a C program with the library. */
export function compile(name, source) {
  const path = join(FOLDER, `${name}.c`);
  writeFileSync(path, source);
  const program = join(FOLDER, name);
  execFileSync('cc', ['-std=c99', '-Wall', '-Wextra', '-Werror', `-I${join(ROOT, 'include')}`, '-DZYL_STATIC', path,
    join(BUILD, 'libzylqx.a'), '-lm', '-o', program], { stdio: 'inherit' });
  return program;
}
