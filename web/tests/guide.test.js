/** The lines of the guide give what it says, in a folder where the package is installed. */
import assert from 'node:assert/strict';
import { execFileSync } from 'node:child_process';
import { mkdirSync, mkdtempSync, readFileSync, symlinkSync, writeFileSync } from 'node:fs';
import { tmpdir } from 'node:os';
import { join } from 'node:path';
import { test } from 'node:test';
import { fileURLToPath } from 'node:url';

const ROOT = fileURLToPath(new URL('../..', import.meta.url));

test('the guide', () => {
  const text = readFileSync(join(ROOT, 'docs/guide/javascript.md'), 'utf8');
  const code = [...text.matchAll(/```js\n([^]*?)```/g)].map(([, block]) => block).join('');
  const program = code.replace(/^(.*?) *\/\/ → (.*)$/gm, 'assert.deepEqual($1, $2); ++checked;');
  const folder = mkdtempSync(join(tmpdir(), 'zylqx-guide-'));
  mkdirSync(join(folder, 'node_modules'));
  symlinkSync(join(ROOT, 'build/web/package'), join(folder, 'node_modules/zylqx'));
  writeFileSync(join(folder, 'guide.mjs'), `import assert from 'node:assert/strict';\nlet checked = 0;\n${program}\nconsole.log(checked);`);
  const checked = execFileSync(process.execPath, ['guide.mjs'], { cwd: folder, encoding: 'utf8' });
  assert.equal(Number(checked), text.match(/\/\/ →/g).length);
});
