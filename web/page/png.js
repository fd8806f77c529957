/** Exact PNG files: gray or colour of 1, 8 or 16 bits, which a canvas would make 8 bits with alpha. */

const TABLE = Uint32Array.from({ length: 256 }, (_, n) => {
  let c = n;
  for (let k = 0; k < 8; ++k) c = c & 1 ? 0xEDB88320 ^ (c >>> 1) : c >>> 1;
  return c;
});

function checksum(bytes) {
  let c = 0xFFFFFFFF;
  for (const byte of bytes) c = TABLE[(c ^ byte) & 255] ^ (c >>> 8);
  return ~c >>> 0;
}

function chunk(type, data) {
  const bytes = new Uint8Array(12 + data.length);
  const view = new DataView(bytes.buffer);
  view.setUint32(0, data.length);
  bytes.set(new TextEncoder().encode(type), 4);
  bytes.set(data, 8);
  view.setUint32(8 + data.length, checksum(bytes.subarray(4, 8 + data.length)));
  return bytes;
}

/** Rows as they lie in the file, each with a filter byte of 0 before it. */
function rowsOf({ data, width, height, channels, depth }) {
  const bits = { '1U': 1, '8U': 8, '16U': 16 }[depth];
  const samples = width * channels;
  const stride = Math.ceil(samples * bits / 8);
  const rows = new Uint8Array(height * (stride + 1));
  for (let y = 0; y < height; ++y) {
    const at = y * (stride + 1) + 1;
    for (let i = 0; i < samples; ++i) {
      const sample = data[y * samples + i];
      if (bits === 8) rows[at + i] = sample;
      else if (bits === 1) rows[at + (i >> 3)] |= sample << (7 - (i & 7));
      else [rows[at + 2 * i], rows[at + 2 * i + 1]] = [sample >> 8, sample & 255];
    }
  }
  return { bits, rows };
}

export function canBePng({ depth, channels }) {
  return ['1U', '8U', '16U'].includes(depth) && [1, 3].includes(channels);
}

/** A Blob with the PNG file of a picture. */
export async function pngOf(picture) {
  const { bits, rows } = rowsOf(picture);
  const header = new Uint8Array(13);
  const view = new DataView(header.buffer);
  view.setUint32(0, picture.width);
  view.setUint32(4, picture.height);
  header.set([bits, picture.channels === 1 ? 0 : 2], 8);
  const packed = new Blob([rows]).stream().pipeThrough(new CompressionStream('deflate'));
  const data = new Uint8Array(await new Response(packed).arrayBuffer());
  const signature = Uint8Array.of(137, 80, 78, 71, 13, 10, 26, 10);
  return new Blob([signature, chunk('IHDR', header), chunk('IDAT', data), chunk('IEND', new Uint8Array(0))], { type: 'image/png' });
}
