/** The cards of the steps, with a control for every value. */
import { controlsOf, operationOf, rowsOf, titleOf } from './chain.js';

let lastId = 0;

export function element(name, properties = {}, ...children) {
  const made = Object.assign(document.createElement(name), properties);
  made.append(...children);
  return made;
}

function labelOf({ label, help }, id) {
  return element('label', { htmlFor: id, textContent: label, title: help });
}

function numberControl({ label, low, high, least, most, step, per = 1, unit }, value, change) {
  const id = `control${++lastId}`;
  const slider = element('input', { type: 'range', min: low, max: high, step, value: value / per, id, title: unit ?? '' });
  const number = element('input', { type: 'number', min: least ?? '', max: most ?? '', step, value: value / per });
  number.setAttribute('aria-label', `${label}, as a number`);
  const follow = (input, other) => input.addEventListener('input', () => {
    if (!input.checkValidity() || Number.isNaN(input.valueAsNumber)) return;
    other.value = input.value;
    const scaled = input.valueAsNumber * per;
    change(per > 1 ? Math.round(scaled) : scaled);
  });
  follow(slider, number);
  follow(number, slider);
  return { id, parts: [slider, number] };
}

function wordControl({ words }, value, change) {
  const id = `control${++lastId}`;
  const options = words.map(({ word, help }) => element('option', { value: word, textContent: word, title: help }));
  const select = element('select', { id, className: 'wide' }, ...options);
  select.value = value;
  select.addEventListener('change', () => change(select.value));
  return { id, parts: [select] };
}

function flagControl(control, value, change) {
  const id = `control${++lastId}`;
  const box = element('input', { type: 'checkbox', id, checked: value, className: 'wide' });
  box.addEventListener('change', () => change(box.checked));
  return { id, parts: [box] };
}

/** Whether text is rows of equally many whole numbers, one row where `single`. */
function isMatrix(text, single) {
  const rows = rowsOf(text);
  return rows.flat().every((v) => Number.isInteger(v)) && text.trim() !== '' && rows.every((row) => row.length === rows[0].length)
    && (!single || rows.length === 1);
}

function rowControl(control, value, change) {
  const id = `control${++lastId}`;
  const input = element('input', { type: 'text', id, value, className: 'wide', inputMode: 'text', spellcheck: false });
  input.addEventListener('input', () => {
    const good = isMatrix(input.value, true) && rowsOf(input.value).flat().every((v) => v >= -128 && v <= 127);
    input.setCustomValidity(good ? '' : 'Whole numbers from -128 to 127 with blanks between them');
    if (good) change(input.value.trim());
    else input.reportValidity();
  });
  return { id, parts: [input] };
}

function matrixControl({ name, presets, extra }, value, change) {
  const id = `control${++lastId}`;
  const split = (text) => text.split('/').map((row) => row.trim()).join('\n');
  const known = () => Object.keys(presets).find((key) => presets[key].rows === value.rows && presets[key][extra] === value[extra]) ?? '';
  const select = element('select', { id }, element('option', { value: '', textContent: 'own' }),
    ...Object.keys(presets).map((key) => element('option', { value: key, textContent: key })));
  const text = element('textarea', { value: split(value.rows), rows: split(value.rows).split('\n').length, spellcheck: false, className: 'wide' });
  text.setAttribute('aria-label', 'coefficients');
  const number = element('input', { type: 'number', min: 0, max: 31, step: 1, value: value[extra], title: `${extra}: divided by 2 to this power` });
  number.setAttribute('aria-label', extra);
  const update = (next) => {
    value = next;
    select.value = known();
    change(value);
  };
  select.value = known();
  select.addEventListener('change', () => {
    if (!select.value) return;
    const preset = presets[select.value];
    text.value = split(preset.rows);
    text.rows = text.value.split('\n').length;
    text.setCustomValidity('');
    number.value = preset[extra];
    update({ ...preset });
  });
  text.addEventListener('input', () => {
    const rows = text.value.trim().split(/\s*\n\s*/).join(' / ');
    const kernel = name === 'kernel';
    const good = isMatrix(rows) && (kernel ? rowsOf(rows).flat().every((v) => v >= -128 && v <= 127)
      : rowsOf(rows).length === 3 && rowsOf(rows)[0].length === 4);
    text.setCustomValidity(good ? '' : kernel ? 'Rows of equally many whole numbers from -128 to 127' : 'Three rows of four whole numbers');
    if (good) update({ ...value, rows });
    else text.reportValidity();
  });
  number.addEventListener('input', () => {
    if (number.checkValidity() && number.value !== '') update({ ...value, [extra]: number.valueAsNumber });
  });
  return { id, parts: [select, number, text] };
}

const MAKERS = { number: numberControl, choice: wordControl, border: wordControl, flag: flagControl, row: rowControl, matrix: matrixControl };

function controlRow(control, step, changed) {
  const change = (value) => {
    step.values[control.name] = value;
    changed();
  };
  const { id, parts } = MAKERS[control.type](control, step.values[control.name], change);
  return element('div', { className: 'control' }, labelOf(control, id), ...parts);
}

function headButton(text, label, disabled, click) {
  const button = element('button', { type: 'button', textContent: text, title: label, disabled });
  button.setAttribute('aria-label', label);
  button.addEventListener('click', click);
  return button;
}

/** The card of a step. `on` has what to do when its values have changed, and to move or remove it. */
export function stepCard(step, index, count, on) {
  const operation = operationOf(step);
  const title = titleOf(operation);
  const head = element('div', { className: 'head' }, element('strong', { textContent: title }), element('span', { className: 'time' }),
    headButton('↑', `Move ${title} up`, index === 0, () => on.move(index, -1)),
    headButton('↓', `Move ${title} down`, index === count - 1, () => on.move(index, 1)),
    headButton('✕', `Remove ${title}`, false, () => on.remove(index)));
  const help = element('p', { className: 'help', textContent: operation.help[0].toUpperCase() + operation.help.slice(1) });
  if (operation.parameters.some((p) => p.kind === 'second')) help.textContent += ': the one before all steps';
  return element('li', {}, head, help, ...controlsOf(operation).map((c) => controlRow(c, step, on.changed)));
}
