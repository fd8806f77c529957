import { SENTENCES, STATUSES } from './operations.js';

/** What the library reports. */
export class ZylqxError extends Error {
  /**
   * @param {number} status its code, negative
   * @param {string} function_ the function of the C interface
   * @param {string} text the library's own text, often the condition that failed
   */
  constructor(status, function_, text) {
    const found = SENTENCES.find(([part]) => text.includes(part));
    const sentence = found ? found[1] : STATUSES[status] ?? 'the operation failed';
    super(`${function_}: ${sentence} (status ${status}, "${text}")`);
    this.name = 'ZylqxError';
    this.status = status;
    this.function = function_;
    this.text = text;
    this.sentence = sentence;
  }
}
