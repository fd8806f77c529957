const SIGN = 0x80000000;

/** Depths by their names: the header's code, the type of arrays, the range of samples. */
export const DEPTHS = {
  '1U': { name: '1U', code: 1, bits: 1, Type: Uint8Array, min: 0, max: 1 },
  '8U': { name: '8U', code: 8, bits: 8, Type: Uint8Array, min: 0, max: 255 },
  '8S': { name: '8S', code: SIGN | 8, bits: 8, Type: Int8Array, min: -128, max: 127 },
  '16U': { name: '16U', code: 16, bits: 16, Type: Uint16Array, min: 0, max: 65535 },
  '16S': { name: '16S', code: SIGN | 16, bits: 16, Type: Int16Array, min: -32768, max: 32767 },
  '32S': { name: '32S', code: SIGN | 32, bits: 32, Type: Int32Array, min: -(2 ** 31), max: 2 ** 31 - 1 },
};

/** The depth of an array's samples when nothing else is said. */
export function depthOfArray(data) {
  if (data instanceof Uint8ClampedArray) return '8U';
  return Object.keys(DEPTHS).find((name) => name !== '1U' && data instanceof DEPTHS[name].Type);
}

export function listed(words) {
  return words.length < 2 ? String(words[0]) : `${words.slice(0, -1).join(', ')} or ${words.at(-1)}`;
}
