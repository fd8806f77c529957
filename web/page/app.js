/** The page: a picture, a chain of operations, the result, and the same in four languages. */
import { chainOf, chainText, families, stepOf, titleOf } from './chain.js';
import { element, stepCard } from './controls.js';
import { readPicture } from './files.js';
import { canBePng, pngOf } from './png.js';
import { SAMPLES } from './samples.js';
import { LANGUAGES } from './snippets.js';

const IDEAS = [
  ['Clean', 'cells', 'median-filter(nRows=3;nCols=3)'],
  ['Find the cells', 'cells', 'median-filter(nRows=3;nCols=3)~color-to-gray()~blur(nRows=5;nCols=5)~threshold(threshold=92)~open(nIterations=2)'],
  ['Edges', 'chart', 'color-to-gray()~convolve-2d(kernel=0 -1 0 / -1 4 -1 / 0 -1 0!0)~multiply-s(value=3)'],
  ['Details', 'valley', 'blur(nRows=9;nCols=9)~subtract(reverse=true)~multiply-s(value=6)'],
  ['Old photo', 'valley', 'apply-color-twist()~blur(nRows=3;nCols=3)~rotate(angle=-300)'],
];

const get = (id) => document.getElementById(id);
const worker = new Worker(new URL('worker.js', import.meta.url), { type: 'module' });

const state = { picture: { sample: 'valley', file: 'valley.png' }, channels: 3, chain: [], language: 'zyl' };

// ---- the worker ------------------------------------------------------------------------------

const answers = new Map();
let lastRequest = 0;

function ask(message, transfer = []) {
  const id = ++lastRequest;
  worker.postMessage({ id, ...message }, transfer);
  return new Promise((resolve) => answers.set(id, resolve));
}

worker.addEventListener('message', ({ data }) => {
  answers.get(data.id)(data);
  answers.delete(data.id);
});
worker.addEventListener('error', () => say('The library cannot be loaded. Is the page served by a web server, and whole?', true));

// ---- what is shown -----------------------------------------------------------------------------

function say(text, wrong = false) {
  get('status').textContent = text;
  get('status').classList.toggle('wrong', wrong);
}

function shapeText({ width, height, channels, depth, colorModel }) {
  const model = channels === 1 ? 'gray' : colorModel;
  return `${width} × ${height}, ${model}, ${depth}`;
}

function draw(canvas, image) {
  if (canvas.width !== image.width || canvas.height !== image.height) [canvas.width, canvas.height] = [image.width, image.height];
  canvas.getContext('2d').putImageData(image, 0, 0);
}

function timeText(milliseconds) {
  return `${milliseconds < 10 ? milliseconds.toFixed(1) : Math.round(milliseconds)} ms`;
}

function showTimes(times) {
  document.querySelectorAll('#steps .time').forEach((place, i) => {
    place.textContent = times[i] === undefined ? '' : timeText(times[i]);
  });
  get('time').textContent = times.length ? timeText(times.reduce((a, b) => a + b, 0)) : '';
}

function showCode() {
  const { text } = LANGUAGES.find((l) => l.name === state.language);
  get('snippet').firstChild.textContent = text(state.chain, { file: state.picture.file, channels: state.channels });
}

function link() {
  const parts = [];
  if (state.picture.sample) parts.push(`picture=${state.picture.sample}`);
  if (state.chain.length) parts.push(`chain=${chainText(state.chain).replaceAll(' ', '+')}`);
  return `#${parts.join('&')}`;
}

// ---- running --------------------------------------------------------------------------------------

let running = false;
let again = false;

/** Runs the chain; while it runs, only the last change waits. */
async function run() {
  showCode();
  history.replaceState(null, '', link());
  if (running) {
    again = true;
    return;
  }
  running = true;
  const late = setTimeout(() => document.body.classList.add('busy'), 150);
  do {
    again = false;
    const answer = await ask({ kind: 'run', chain: state.chain });
    if (!again) show(answer);
  } while (again);
  clearTimeout(late);
  document.body.classList.remove('busy');
  running = false;
  document.body.dataset.runs = Number(document.body.dataset.runs ?? 0) + 1;
}

function show({ image, shape, milliseconds, error }) {
  document.querySelectorAll('#steps > li').forEach((card, i) => card.classList.toggle('wrong', error?.index === i));
  get('save-after').disabled = Boolean(error);
  if (error) {
    const step = state.chain[error.index];
    const where = step ? `Step ${error.index + 1}, ${step.name}: ` : '';
    say(`${where}${error.message}.`.replace(/\.\.$/, '.'), true);
    showTimes([]);
    return;
  }
  say(state.picture.note ?? '');
  draw(get('after'), image);
  get('after-shape').textContent = shapeText(shape);
  showTimes(milliseconds);
}

async function setPicture(picture, pixels) {
  const answer = await ask({ kind: 'picture', picture: picture.sample ? { sample: picture.sample } : pixels });
  if (answer.error) {
    say(`The picture cannot be used: ${answer.error.detail}`, true);
    return;
  }
  Object.assign(state, { picture, channels: answer.shape.channels });
  for (const button of get('samples').children) button.setAttribute('aria-pressed', String(button.dataset.name === picture.sample));
  draw(get('before'), answer.image);
  get('before-shape').textContent = shapeText(answer.shape);
  await run();
}

async function openFile(file) {
  say(`Reading ${file.name}…`);
  try {
    const { note, ...pixels } = await readPicture(file);
    await setPicture({ file: file.name, note }, pixels);
  } catch (error) {
    say(error.message, true);
  }
}

// ---- the chain ----------------------------------------------------------------------------------

function showSteps() {
  const { chain } = state;
  const on = {
    changed: run,
    move(index, by) {
      [chain[index], chain[index + by]] = [chain[index + by], chain[index]];
      showSteps();
      const buttons = get('steps').children[index + by].querySelectorAll('.head button');
      (buttons[by < 0 ? 0 : 1].disabled ? buttons[by < 0 ? 1 : 0] : buttons[by < 0 ? 0 : 1]).focus();
      run();
    },
    remove(index) {
      chain.splice(index, 1);
      showSteps();
      (get('steps').children[Math.min(index, chain.length - 1)]?.querySelector('.head button:last-child') ?? get('add')).focus();
      run();
    },
  };
  get('steps').replaceChildren(...chain.map((step, i) => stepCard(step, i, chain.length, on)));
  get('empty').hidden = chain.length > 0;
  get('clear').disabled = chain.length === 0;
}

function setChain(chain) {
  state.chain = chain;
  showSteps();
}

function readLink() {
  const values = Object.fromEntries(location.hash.slice(1).split('&').map((pair) => {
    const [key, ...rest] = pair.split('=');
    try {
      return [key, decodeURIComponent(rest.join('=').replaceAll('+', ' '))];
    } catch {
      return [key, ''];
    }
  }));
  const complaints = [];
  const sample = SAMPLES.find((s) => s.name === values.picture)?.name;
  if (values.picture && !sample) complaints.push(`The link has a picture that is not known: ${values.picture}`);
  setChain(chainOf(values.chain ?? '', (text) => complaints.push(text)));
  return { sample, complaints };
}

// ---- the dialog ------------------------------------------------------------------------------------

function addStep(name) {
  state.chain.push(stepOf(name));
  get('chooser').close();
  showSteps();
  const card = get('steps').lastChild;
  card.scrollIntoView({ block: 'nearest' });
  (card.querySelector('.control :is(input, select)') ?? card.querySelector('.head button:last-child')).focus();
  run();
}

function showChoices(search) {
  const words = search.toLowerCase().split(/\s+/).filter(Boolean);
  const fits = (o) => words.every((w) => `${o.word.replaceAll('-', ' ')} ${o.help} ${o.family}`.toLowerCase().includes(w));
  const parts = families().flatMap(({ title, operations }) => {
    const found = operations.filter(fits);
    if (found.length === 0) return [];
    return [element('h3', { textContent: title }), ...found.map((o) => {
      const button = element('button', { type: 'button' }, element('b', { textContent: titleOf(o) }), element('span', { textContent: o.help }));
      button.dataset.name = o.name;
      button.addEventListener('click', () => addStep(o.name));
      return button;
    })];
  });
  get('choices').replaceChildren(...(parts.length ? parts : [element('p', { textContent: 'No operation has these words.' })]));
}

function openChooser() {
  get('search').value = '';
  showChoices('');
  get('chooser').showModal();
  get('search').focus();
}

/** Arrows go through the operations that were found. */
function moveInChoices(event) {
  const by = { ArrowDown: 1, ArrowUp: -1 }[event.key];
  if (!by) return;
  event.preventDefault();
  const buttons = [...get('choices').querySelectorAll('button')];
  const next = buttons.indexOf(document.activeElement) + by;
  (next < 0 ? get('search') : buttons[Math.min(next, buttons.length - 1)])?.focus();
}

// ---- copying and saving ----------------------------------------------------------------------------

async function copyText(text, button) {
  const before = button.textContent;
  try {
    await navigator.clipboard.writeText(text);
    button.textContent = 'Copied';
  } catch {
    say('The browser does not let the page copy; select the text and copy it.', true);
  }
  setTimeout(() => { button.textContent = before; }, 1200);
}

/** Saves what a chain gives: its very samples, or what the canvas shows where PNG has no such samples. */
async function save(chain, canvas, name) {
  const { shape, samples } = await ask({ kind: 'run', chain, withSamples: true });
  const picture = { ...shape, data: samples };
  const blob = canBePng(picture) ? await pngOf(picture) : await new Promise((resolve) => { canvas.toBlob(resolve); });
  const anchor = element('a', { href: URL.createObjectURL(blob), download: name });
  anchor.click();
  setTimeout(() => URL.revokeObjectURL(anchor.href), 1000);
}

// ---- the beginning -----------------------------------------------------------------------------------

function showLanguages() {
  get('languages').replaceChildren(...LANGUAGES.map(({ name, title }) => {
    const button = element('button', { type: 'button', textContent: title, role: 'tab', tabIndex: name === state.language ? 0 : -1 });
    button.setAttribute('aria-selected', String(name === state.language));
    button.addEventListener('click', () => chooseLanguage(name));
    return button;
  }));
}

function chooseLanguage(name) {
  state.language = name;
  showLanguages();
  showCode();
  get('languages').querySelector('[aria-selected="true"]').focus();
}

function listen() {
  get('open').addEventListener('click', () => get('file').click());
  get('file').addEventListener('change', () => {
    if (get('file').files[0]) openFile(get('file').files[0]);
    get('file').value = '';
  });
  get('add').addEventListener('click', openChooser);
  get('clear').addEventListener('click', () => {
    setChain([]);
    get('add').focus();
    run();
  });
  get('search').addEventListener('input', () => showChoices(get('search').value));
  get('chooser').addEventListener('keydown', moveInChoices);
  get('chooser').querySelector('form').addEventListener('submit', (event) => {
    const [first] = get('choices').querySelectorAll('button');
    if (event.submitter?.value !== 'cancel' || document.activeElement === get('search')) {
      event.preventDefault();
      if (first) addStep(first.dataset.name);
    }
  });
  get('languages').addEventListener('keydown', ({ key }) => {
    const by = { ArrowRight: 1, ArrowLeft: -1 }[key];
    if (!by) return;
    const index = LANGUAGES.findIndex((l) => l.name === state.language);
    chooseLanguage(LANGUAGES.at((index + by) % LANGUAGES.length).name);
  });
  get('copy').addEventListener('click', () => copyText(get('snippet').textContent, get('copy')));
  get('copy-link').addEventListener('click', () => copyText(location.href, get('copy-link')));
  get('save-before').addEventListener('click', () => save([], get('before'), state.picture.file.replace(/\.\w+$/, '.png')));
  get('save-after').addEventListener('click', () => save(state.chain, get('after'), 'out.png'));
  addEventListener('keydown', (event) => {
    if (event.key !== '/' || event.target.closest?.('input:not([type="range"], [type="checkbox"]), textarea, dialog')) return;
    event.preventDefault();
    openChooser();
  });
  addEventListener('hashchange', () => {
    const { sample, complaints } = readLink();
    if (sample && sample !== state.picture.sample) setPicture({ sample, file: `${sample}.png` });
    else run();
    if (complaints.length) say(complaints.join(' '), true);
  });

  let inside = 0;
  addEventListener('dragenter', () => { get('drop').hidden = ++inside === 0; });
  addEventListener('dragleave', () => { get('drop').hidden = --inside === 0; });
  addEventListener('dragover', (event) => event.preventDefault());
  addEventListener('drop', (event) => {
    event.preventDefault();
    inside = 0;
    get('drop').hidden = true;
    const [file] = event.dataTransfer.files;
    if (file) openFile(file);
    else say('What was dropped is no file: drop a picture file.', true);
  });
  addEventListener('paste', ({ clipboardData }) => {
    const [file] = clipboardData.files;
    if (file) openFile(file);
  });
}

async function begin() {
  get('samples').replaceChildren(...SAMPLES.map(({ name, title }) => {
    const button = element('button', { type: 'button', textContent: title });
    button.dataset.name = name;
    button.addEventListener('click', () => setPicture({ sample: name, file: `${name}.png` }));
    return button;
  }));
  get('ideas').replaceChildren(...IDEAS.map(([title, sample, text]) => {
    const button = element('button', { type: 'button', textContent: title });
    button.addEventListener('click', () => {
      setChain(chainOf(text));
      if (state.picture.sample && state.picture.sample !== sample) setPicture({ sample, file: `${sample}.png` });
      else run();
    });
    return button;
  }));
  showLanguages();
  listen();
  const { sample = 'valley', complaints } = readLink();
  await setPicture({ sample, file: `${sample}.png` });
  if (complaints.length) say(complaints.join(' '), true);
}

begin();
