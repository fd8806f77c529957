import { listed } from './depths.js';

const BORDERS = { constant: 0, replicate: 1, mirror: 2, wrap: 3 };

/** Modes and constants of the top, bottom, left and right side: eight numbers. */
export function borderSides(border) {
  const sides = Array.isArray(border) ? border : [border, border, border, border];
  if (sides.length !== 4) {
    throw new RangeError(`border: one is needed, or one each for top, bottom, left and right, not ${sides.length}`);
  }
  for (const side of sides) {
    if (!Object.hasOwn(BORDERS, side) && !Number.isInteger(side)) {
      throw new RangeError(`border: ${listed([...Object.keys(BORDERS), 'a whole number'])} is needed, not ${side}`);
    }
  }
  return [...sides.map((side) => BORDERS[side] ?? 0), ...sides.map((side) => (Number.isInteger(side) ? side : 0))];
}
