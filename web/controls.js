// One control per parameter of a channel's control description: the element its kind calls for, labelled, default marked.

let serial = 0;

function element(tag, properties = {}, ...children) {
  const node = Object.assign(document.createElement(tag), properties);
  node.append(...children);
  return node;
}

// What a change made the module tell the library and the video module, one line per call.
export function describeTrace(entries) {
  return entries
    .filter((e) => e.kind !== 'shell')
    .map((e) =>
      e.kind === 'ia'
        ? `library ${e.name} ${e.option} ${e.values.join(',')} → ${e.result}`
        : `video ${e.name} ${e.values.join(',')} → ${e.result}`,
    );
}

function choiceName(control, value) {
  return control.choices.find((c) => c.value === value)?.name ?? String(value);
}

function defaultText(control) {
  if (control.default === undefined) return '';
  return control.choices ? `default ${choiceName(control, control.default)}` : `default ${control.default}`;
}

// The input(s) of one kind, and how to show a value in them.
function inputsFor(control, id, send) {
  switch (control.kind) {
    case 'slider': {
      const range = element('input', { id, type: 'range', min: control.min, max: control.max, step: control.step });
      const numberId = `${id}-value`;
      const number = element('input', { id: numberId, type: 'number', step: control.step, className: 'value' });
      range.addEventListener('input', () => (number.value = range.value));
      range.addEventListener('change', () => send(Number(range.value)));
      number.addEventListener('change', () => send(Number(number.value)));
      const numberLabel = element('label', { htmlFor: numberId, className: 'hidden' }, `${control.name} value`);
      return {
        nodes: [range, numberLabel, number],
        show(value) {
          range.value = value;
          if (document.activeElement !== number) number.value = value;
        },
      };
    }
    case 'choice': {
      const select = element('select', { id });
      for (const choice of control.choices) {
        const mark = choice.value === control.default ? ' (default)' : '';
        select.append(element('option', { value: choice.value }, `${choice.name}${mark}`));
      }
      select.addEventListener('change', () => send(Number(select.value)));
      return { nodes: [select], show: (value) => (select.value = value) };
    }
    case 'switch': {
      // The first choice is off, the second on.
      const [off, on] = control.choices;
      const box = element('input', { id, type: 'checkbox' });
      box.setAttribute('role', 'switch');
      box.addEventListener('change', () => send(box.checked ? on.value : off.value));
      return { nodes: [box], show: (value) => (box.checked = value === on?.value) };
    }
    case 'button': {
      const button = element('button', { id, type: 'button' }, 'Send');
      button.addEventListener('click', () => send(1));
      return { nodes: [button], show() {} };
    }
    default: {
      const field = element('input', { id, type: 'text', readOnly: true, className: 'value' });
      return { nodes: [field], show: (value) => (field.value = value) };
    }
  }
}

// A list item for `control`. `change(value)` sends it and answers the trace
// entries it caused, or throws the API's error. The item's show(value) puts a
// value from the camera in it.
export function renderControl(control, change) {
  const id = `control-${++serial}`;
  const effect = element('div', { className: 'effect' });
  effect.setAttribute('aria-live', 'polite');
  let shown;
  const send = async (value) => {
    effect.classList.remove('refused');
    try {
      const lines = describeTrace(await change(value));
      effect.replaceChildren(...(lines.length ? lines : ['nothing sent']).map((l) => element('div', {}, l)));
    } catch (error) {
      effect.classList.add('refused');
      effect.replaceChildren(element('div', {}, error.message));
      if (shown !== undefined) inputs.show(shown);
    }
  };
  const inputs = inputsFor(control, id, send);
  const item = element(
    'li',
    { className: `control ${control.kind}` },
    element('label', { htmlFor: id }, control.name),
    element('span', { className: 'key' }, `${control.keyName} (${control.key})`),
    ...inputs.nodes,
    element('span', { className: 'default' }, defaultText(control)),
    effect,
  );
  item.show = (value) => {
    shown = value;
    inputs.show(value);
    item.classList.toggle('at-default', value === control.default);
  };
  if (control.value !== undefined) item.show(control.value);
  return item;
}
