/** The self-test as WebAssembly: the same checksums as on every other machine. */
import assert from 'node:assert/strict';
import { readFile } from 'node:fs/promises';
import { spawnSync } from 'node:child_process';
import { test } from 'node:test';
import { fileURLToPath } from 'node:url';

const RUNNER = fileURLToPath(new URL('run-wasi.js', import.meta.url));

async function kept() {
  const text = await readFile(new URL('../../selftest/checksums.inc', import.meta.url), 'utf8');
  return [...text.matchAll(/\{"(\w+)", 0x(\w+)u\}/g)].map(([, name, sum]) => [name, sum]);
}

for (const build of ['simd', 'plain']) {
  test(`${build}: the self-test`, async () => {
    const module = fileURLToPath(new URL(`../../build/web/${build}/selftest/selftest.wasm`, import.meta.url));
    const ran = spawnSync(process.execPath, ['--no-warnings', RUNNER, module], { encoding: 'utf8' });
    const lines = [...ran.stdout.matchAll(/^(zyl\w+) +(\w+) +equal$/gm)].map(([, name, sum]) => [name, sum]);
    assert.equal(ran.status, 0, ran.stdout + ran.stderr);
    assert.deepEqual(lines, await kept());
  });
}
