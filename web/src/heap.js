/** The module's memory, whose views have to be made anew when it has grown. */
export class Heap {
  #memory;
  #bytes;

  constructor(exports) {
    this.exports = exports;
    this.#memory = exports.memory;
    this.#bytes = new Uint8Array(this.#memory.buffer);
  }

  get bytes() {
    if (this.#bytes.buffer !== this.#memory.buffer) this.#bytes = new Uint8Array(this.#memory.buffer);
    return this.#bytes;
  }

  /** A view of `count` elements at `address`, valid until the next allocation. */
  view(Type, address, count) {
    return new Type(this.#memory.buffer, address, count);
  }

  /** Text that ends with a null byte. */
  text(address) {
    const { bytes } = this;
    return new TextDecoder('latin1').decode(bytes.slice(address, bytes.indexOf(0, address)));
  }
}

/** Blocks of memory that live as long as a call. */
export class Arena {
  #blocks = [];

  constructor(heap) {
    this.heap = heap;
  }

  allocate(size) {
    const address = this.heap.exports.malloc(Math.max(size, 1)) >>> 0;
    if (address === 0) throw new RangeError(`zylqx: there is not enough memory for ${size} bytes`);
    this.#blocks.push(address);
    return address;
  }

  /** A block with these numbers. */
  numbers(Type, values) {
    const address = this.allocate(values.length * Type.BYTES_PER_ELEMENT);
    this.heap.view(Type, address, values.length).set(values);
    return address;
  }

  release() {
    for (const address of this.#blocks) this.heap.exports.free(address);
    this.#blocks = [];
  }
}

/** Calls `work` with an arena and frees what it has allocated, whatever happens. */
export function withArena(heap, work) {
  const arena = new Arena(heap);
  try {
    return work(arena);
  } finally {
    arena.release();
  }
}
