/** zylqx for JavaScript: image processing with exact integer results. See zylqx.d.ts. */
import { convertFromDIB, convertToDIB, translateDIB } from './bitmaps.js';
import { run } from './call.js';
import { ZylqxError } from './error.js';
import { load } from './load.js';
import { OPERATIONS } from './operations.js';
import { Picture } from './picture.js';

export { Picture, ZylqxError };

function versionOf(heap) {
  const record = heap.view(Uint32Array, heap.exports.zylGetLibVersion(), 8);
  return [...record.slice(0, 3)].join('.');
}

/** Loads the library and gives an object with its operations. */
export default async function zylqx(options) {
  const heap = await load(options);
  const histogram = OPERATIONS.find((o) => o.name === 'computeHisto');
  const z = { version: versionOf(heap), get memory() { return heap.bytes.length; } };
  for (const entry of OPERATIONS) {
    const operation = entry.name === 'histoEqualize' ? { ...entry, histogram } : entry;
    z[entry.name] = (...list) => run(heap, operation, list);
  }
  z.translateDIB = (dib) => translateDIB(heap, dib);
  z.convertFromDIB = (dib, more) => convertFromDIB(heap, dib, more);
  z.convertToDIB = (image, more) => convertToDIB(heap, image, more);
  return z;
}
