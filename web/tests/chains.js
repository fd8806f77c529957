/** Chains of the page's operations for tests, as links have them. */
export const CHAINS = [
  ['valley', 'median-filter(nRows=5;nCols=3;border=wrap)~add-s(value=-20)'],
  ['cells', 'median-filter(nRows=3;nCols=3)~color-to-gray()~blur(nRows=5;nCols=5)~threshold(threshold=92)~open(nIterations=2;border=mirror)'],
  ['chart', 'color-to-gray()~convolve-2d(kernel=0 -1 0 / -1 4 -1 / 0 -1 0!0;border=constant)~multiply-s(value=3)'],
  ['valley', 'blur(nRows=9;nCols=8)~subtract(reverse=true)~multiply-s(value=6)~or-s(value=3)'],
  ['valley', 'apply-color-twist(cTwist=101 197 48 0 / 89 176 43 0 / 70 137 34 0!8;offset=5)~rotate(angle=-307)~histo-equalize()'],
  ['chart', 'zoom(xU=5;xL=3;interpolate=cubic)~mirror(flipAxis=both)~decimate(xU=2;xL=5)'],
  ['chart', 'convert(depth=16U;convertMode=low)~l-shift-s(shift=8)~max-filter(nRows=2;nCols=6)~square()'],
  ['cells', 'color-to-gray(depth=1U)~dilate()~bitonal-to-gray(zeroScale=40)~convolve-sep-2d(xkernel=1 4 6 4 1;ykernel=1 2 1)'],
  ['valley', 'rgb2hsv()~add-s(value=30)~hsv2rgb()~not()'],
  ['cells', 'color-to-gray()~gray-to-color(fractR=0.25;fractG=1;fractB=0.5)~min-filter()~multiply-scale()~xor()'],
  ['chart', 'convert(depth=16U;convertMode=low)~multiply-s(value=257)~rotate(angle=4500;interpolate=nearest)~convert(depth=8U;convertMode=high)'],
  ['valley', 'convolve-2d(kernel=-2 -1 0 / -1 1 1 / 0 1 2!1;border=mirror)~close(nIterations=2)~r-shift-s(shift=1)~subtract-s(value=200;reverse=true)'],
];
