/** Image processing with exact integer results, in Node and browsers. */

/** Samples of 1, 8, 16 or 32 bits, unsigned or signed. */
export type Depth = '1U' | '8U' | '8S' | '16U' | '16S' | '32S';

export type Samples = Uint8Array | Uint8ClampedArray | Int8Array | Uint16Array | Int16Array | Int32Array;

export interface Region {
  x: number;
  y: number;
  width: number;
  height: number;
}

export type BorderMode = 'constant' | 'replicate' | 'mirror' | 'wrap';
/** What lies outside: a mode or a constant, or four of them for top, bottom, left and right. */
export type BorderLike = BorderMode | number | (BorderMode | number)[];

export interface PictureOptions {
  /** What the type of the array says if left out; '1U' has one byte of 0 or 1 for each pixel. */
  depth?: Depth;
  /** As many as there are samples for each pixel if left out. */
  channels?: number;
  /** The channels of a pixel together, or one plane for each channel; 'pixel' if left out. */
  order?: 'pixel' | 'plane';
  /** Whether the first row is the top or the bottom one; 'top' if left out. */
  origin?: 'top' | 'bottom';
  /** The region that functions work on; the whole picture if left out. */
  roi?: Region | null;
  /** The channel that functions work on, from 1; all of them if left out. */
  channel?: number;
  /** The channel that is the alpha, from 1. Operations on single pixels leave it as it is. */
  alpha?: number;
  border?: BorderLike | null;
  /** The channels in their order, such as 'BGR'. */
  channelSeq?: string;
  /** 'GRAY', 'RGB', 'HSV' or 'HLS'; what channelSeq says if left out. */
  colorModel?: string;
}

/** An array of samples with what it cannot say itself. Nothing is copied. */
export class Picture {
  constructor(data: Samples, width: number, height: number, options?: PictureOptions);
  static from(image: ImageLike): Picture;
  data: Samples;
  width: number;
  height: number;
  depth: Depth;
  channels: number;
  order: 'pixel' | 'plane';
  origin: 'top' | 'bottom';
  roi: Region | null;
  channel: number;
  alpha: number;
  border: BorderLike | null;
  channelSeq: string;
  colorModel: string;
  /** All of it as 8-bit red, green, blue and alpha: the depth's range becomes 0 to 255. */
  toImageData(): ImageData;
}

/** Samples with a size; the fourth channel of an ImageData is its alpha. */
export type ImageLike = Picture | ImageData | ({ data: Samples; width: number; height: number } & PictureOptions);
/** The result for an ImageData is one too. */
export type Result<T> = T extends ImageData ? ImageData : Picture;

/** Rows of coefficients from -128 to 127; one row alone is a row, or a column where one is needed. */
export type KernelLike = number[] | number[][] | {
  values: number[] | number[][];
  /** Sums are shifted right by so many bits; 0 if left out. */
  shift?: number;
  /** Column and row of the anchor; the middle if left out. */
  anchor?: [number, number];
};

/** Three rows of three factors and a constant. Whole numbers are in units of 1 / 2 ** scale;
 * fractions without a scale are rounded to 1 / 65536. */
export type TwistLike = number[] | number[][] | { data: number[] | number[][]; scale?: number };

/** A function of a sample given by intervals: key[i] <= sample < key[i + 1] is interval i. */
export interface Table {
  key: ArrayLike<number>;
  /** Of each interval, its value or count. */
  value?: ArrayLike<number>;
  /** Slopes within the intervals. */
  factor?: ArrayLike<number>;
  interpolate?: boolean;
}

/** What the library reports. */
export class ZylqxError extends Error {
  /** Its code, negative. */
  status: number;
  /** The function of the C interface. */
  function: string;
  /** The library's own text, often the condition that failed. */
  text: string;
  /** The same in words. */
  sentence: string;
}

export interface LoadOptions {
  /** Whether to use vector instructions; as the machine has them if left out. */
  simd?: boolean;
  /** The module, its bytes or where it is, if it does not lie beside this file. */
  wasm?: WebAssembly.Module | BufferSource | URL | string;
}

/** Loads the library and gives an object with its operations. */
export default function zylqx(options?: LoadOptions): Promise<Zylqx>;

export interface Zylqx {
  readonly version: string;
  /** Bytes of memory that the library has. Calls give back what they use. */
  readonly memory: number;

  // operations

  /** Makes a picture of a device-independent bitmap: 1-bit or 8-bit gray, BGR or BGRA.
   * @param dib its bytes: header, colour table and rows */
  translateDIB(dib: Uint8Array): Picture;

  /** Converts a device-independent bitmap into a picture of '1U', '8U' or '16U'.
   * @param dib its bytes: header, colour table and rows */
  convertFromDIB(dib: Uint8Array, options?: { depth?: Depth; channels?: 1 | 3 | 4; out?: ImageLike }): Picture;

  /** Converts a picture of '1U', '8U' or '16U' with 1, 3 or 4 channels into the bytes of a
   * device-independent bitmap. */
  convertToDIB(image: ImageLike, options?: {
    /** Bits of a pixel; 24 if left out. */
    bits?: 1 | 4 | 8 | 16 | 24 | 32;
    /** Colours of a bitmap with up to 8 bits: rows of blue, green and red. */
    table?: number[][];
    /** How 16-bit samples become bytes; 'none' if left out. */
    dither?: 'none' | 'stucki';
    /** The table of colours: the one given, a fixed one, or one made for the picture. */
    paletteConversion?: 'given' | 'fixed' | 'median-cut';
  }): Uint8Array;
}
