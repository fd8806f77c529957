/** run-wasi.js MODULE [ARGUMENT]...: runs a program that was compiled to WebAssembly. */
import { readFile } from 'node:fs/promises';
import { WASI } from 'node:wasi';

const [, , path, ...args] = process.argv;
const wasi = new WASI({ version: 'preview1', args: [path, ...args] });
const module = await WebAssembly.compile(await readFile(path));
const imports = { wasi_snapshot_preview1: wasi.wasiImport, env: {} };
// Of the terminal, which the program does not have.
for (const { module: room, name } of WebAssembly.Module.imports(module)) imports[room][name] ??= () => -1;
process.exitCode = wasi.start(await WebAssembly.instantiate(module, imports)) ?? 0;
