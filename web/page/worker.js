/** Runs chains beside the page, so that it never stalls. Keeps what the steps gave, so that only
 * those after a change run again. */
import zylqx, { Picture } from './zylqx/zylqx.js';
import { runStep } from './chain.js';
import { drawSample } from './samples.js';

const library = zylqx();
let original;
let results = []; // { key, picture, milliseconds } of each step

function setOriginal({ sample, data, width, height }) {
  const image = sample ? drawSample(sample) : { data, width, height };
  original = new Picture(image.data, image.width, image.height);
  results = [];
  return original;
}

async function run(chain) {
  const z = await library;
  let picture = original;
  const kept = [];
  for (const [index, step] of chain.entries()) {
    const key = JSON.stringify(step);
    if (results[index]?.key !== key) {
      results.length = index;
      const start = performance.now();
      try {
        results[index] = { key, picture: runStep(z, step, picture, original), milliseconds: 0 };
      } catch (error) {
        throw Object.assign(error, { index });
      }
      results[index].milliseconds = performance.now() - start;
    }
    ({ picture } = results[index]);
    kept.push(results[index].milliseconds);
  }
  return { picture, milliseconds: kept };
}

function described({ width, height, channels, depth, colorModel }) {
  return { width, height, channels, depth, colorModel };
}

onmessage = async ({ data: { id, kind, picture, chain, withSamples } }) => {
  try {
    if (kind === 'picture') {
      const image = setOriginal(picture).toImageData();
      postMessage({ id, image, shape: described(original) }, [image.data.buffer]);
      return;
    }
    const result = await run(chain);
    const image = result.picture.toImageData();
    const samples = withSamples ? result.picture.data : null;
    postMessage({ id, image, samples, shape: described(result.picture), milliseconds: result.milliseconds }, [image.data.buffer]);
  } catch (error) {
    postMessage({ id, error: { message: error.sentence ?? error.message, detail: error.message, index: error.index } });
  }
};
