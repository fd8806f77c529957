/** Pictures from files: their samples as they lie there, red, green and blue or gray. */

const MOST_PIXELS = 60e6;

/** Whether a PNG or JPEG file says that it is gray. */
export function isGrayFile(bytes) {
  const view = new DataView(bytes.buffer, bytes.byteOffset, bytes.length);
  if (bytes.length > 26 && view.getUint32(0) === 0x89504E47) return bytes[25] === 0 || bytes[25] === 4;
  if (bytes.length < 4 || view.getUint16(0) !== 0xFFD8) return false;
  for (let at = 2; at + 10 < bytes.length && bytes[at] === 0xFF; at += 2 + view.getUint16(at + 2)) {
    const marker = bytes[at + 1];
    const isFrame = marker >= 0xC0 && marker <= 0xCF && ![0xC4, 0xC8, 0xCC].includes(marker);
    if (isFrame) return bytes[at + 9] === 1;
  }
  return false;
}

/** { data, width, height, notes } of a file; throws an Error with a sentence for people. */
export async function readPicture(file) {
  let bitmap;
  try {
    bitmap = await createImageBitmap(file, { colorSpaceConversion: 'none', premultiplyAlpha: 'none' });
  } catch {
    const what = file.size === 0 ? 'it is empty' : 'it is damaged, or of a kind that this browser does not know';
    throw new Error(`${file.name} cannot be read: ${what}. PNG, JPEG, WebP, GIF and BMP files will do.`);
  }
  const { width, height } = bitmap;
  if (width * height > MOST_PIXELS) {
    throw new Error(`${file.name} has ${width} × ${height} pixels, too many for this page; zyl takes pictures of any size.`);
  }
  const canvas = document.createElement('canvas');
  [canvas.width, canvas.height] = [width, height];
  const context = canvas.getContext('2d', { willReadFrequently: true });
  context.drawImage(bitmap, 0, 0);
  bitmap.close();
  const rgba = context.getImageData(0, 0, width, height).data;
  const channels = isGrayFile(new Uint8Array(await file.slice(0, 2 ** 20).arrayBuffer())) ? 1 : 3;
  const data = new Uint8Array(channels * width * height);
  let transparent = false;
  for (let from = 0, to = 0; from < rgba.length; from += 4) {
    for (let c = 0; c < channels; ++c) data[to++] = rgba[from + c];
    transparent ||= rgba[from + 3] !== 255;
  }
  return { data, width, height, note: transparent ? 'Its transparency is left out.' : '' };
}
