/** Loads the module of the library: no code of a compiler's between it and JavaScript. */
import { Heap } from './heap.js';

// A module whose one function has a vector instruction: valid where there are any.
const VECTORS = [0, 97, 115, 109, 1, 0, 0, 0, 1, 5, 1, 96, 0, 1, 123, 3, 2, 1, 0, 10, 10, 1, 8, 0,
  65, 0, 253, 15, 253, 98, 11];

const NOT_SUPPORTED = 52; // ENOSYS of WASI

/** What a module asks of its system. The library needs none of it: files, clocks and the
 * terminal belong to reports that are never asked for here. */
function imports(module) {
  const functions = {};
  for (const { module: room, name, kind } of WebAssembly.Module.imports(module)) {
    if (kind !== 'function') continue;
    functions[room] ??= {};
    functions[room][name] = () => NOT_SUPPORTED;
  }
  if (functions.wasi_snapshot_preview1) {
    functions.wasi_snapshot_preview1.proc_exit = (code) => {
      throw new Error(`zylqx: the library ended with code ${code}`);
    };
  }
  return functions;
}

async function bytesOf(url) {
  if (url.protocol === 'file:') {
    const { readFile } = await import(/* webpackIgnore: true */ /* @vite-ignore */ 'node:fs/promises');
    return readFile(url);
  }
  const response = await fetch(url);
  if (!response.ok) throw new Error(`zylqx: ${url} cannot be read: ${response.status} ${response.statusText}`);
  return response.arrayBuffer();
}

/** The heap of a new instance of the library. */
export async function load({ simd = WebAssembly.validate(new Uint8Array(VECTORS)), wasm } = {}) {
  const usual = simd ? new URL('./zylqx.wasm', import.meta.url) : new URL('./zylqx-plain.wasm', import.meta.url);
  const given = typeof wasm === 'string' ? new URL(wasm, globalThis.location?.href) : wasm ?? usual;
  const module = given instanceof WebAssembly.Module ? given
    : await WebAssembly.compile(given instanceof URL ? await bytesOf(given) : given);
  const { exports } = await WebAssembly.instantiate(module, imports(module));
  exports._initialize?.();
  return new Heap(exports);
}
