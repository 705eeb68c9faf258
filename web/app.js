// The image settings page: a channel's tabs and controls, its schemes, the simulated clock, files and log, kept live by polling.
import * as api from './api.js';
import { describeTrace, renderControl } from './controls.js';

const $ = (id) => document.getElementById(id);
const POLL_MS = 1000;
const TRACE_KEPT = 200;

// `actions` counts the starts and ends of the page's own changes: a poll that
// overlapped one would show values from before it, and is not shown.
const page = { channel: 1, items: new Map(), cursor: null, simulated: false, tab: null, actions: 0 };

function say(text) {
  $('status').textContent = text;
}

// Runs one action of the page; its outcome, or the API's error, goes to the status line.
async function act(what, action) {
  ++page.actions;
  try {
    const answer = await action();
    say(`${what}: done`);
    return answer;
  } catch (error) {
    say(`${what}: ${error.message}`);
    return null;
  } finally {
    ++page.actions;
  }
}

function options(select, list) {
  select.replaceChildren(...list.map(([value, text]) => new Option(text, value)));
}

const path = (rest) => `/channels/${page.channel}${rest}`;

// ---------------------------------------------------------------- tabs and controls

function selectTab(tabs, index, focus = true) {
  page.tab = tabs[index].textContent;
  tabs.forEach((tab, i) => {
    const on = i === index;
    tab.setAttribute('aria-selected', String(on));
    tab.tabIndex = on ? 0 : -1;
    $(tab.getAttribute('aria-controls')).hidden = !on;
  });
  if (focus) tabs[index].focus();
}

async function change(control, value) {
  ++page.actions;
  try {
    const answer = await api.put(path(`/params/${control.key}`), { value });
    say(`${control.name} set to ${value}`);
    return answer.trace;
  } catch (error) {
    say(`${control.name}: ${error.message}`);
    throw error;
  } finally {
    ++page.actions;
  }
}

async function readReadouts(readouts) {
  for (const control of readouts) {
    const answer = await api.get(path(`/params/${control.key}`)).catch(() => null);
    if (answer) page.items.get(control.key).show(answer.value);
  }
}

function renderTabs(description) {
  page.items.clear();
  const tabs = [];
  const panels = [];
  const readouts = [];
  description.tabs.forEach((tab, index) => {
    const button = document.createElement('button');
    Object.assign(button, { type: 'button', id: `tab-${index}`, textContent: tab.name });
    button.setAttribute('role', 'tab');
    button.setAttribute('aria-controls', `panel-${index}`);
    button.addEventListener('click', () => selectTab(tabs, index));
    tabs.push(button);

    const panel = document.createElement('div');
    Object.assign(panel, { id: `panel-${index}`, hidden: true });
    panel.setAttribute('role', 'tabpanel');
    panel.setAttribute('aria-labelledby', button.id);
    const list = document.createElement('ul');
    list.setAttribute('aria-label', `${tab.name} controls`);
    for (const control of tab.controls) {
      const item = renderControl(control, (value) => change(control, value));
      page.items.set(control.key, item);
      list.append(item);
      if (control.kind === 'readout') readouts.push(control);
    }
    panel.append(list);
    panels.push(panel);
  });
  // Arrow keys move between tabs, as in every tab strip.
  $('tabs').onkeydown = (event) => {
    const index = tabs.indexOf(document.activeElement);
    const moves = { ArrowRight: index + 1, ArrowLeft: index - 1, Home: 0, End: tabs.length - 1 };
    if (index < 0 || !(event.key in moves)) return;
    event.preventDefault();
    selectTab(tabs, (moves[event.key] + tabs.length) % tabs.length);
  };
  $('tabs').replaceChildren(...tabs);
  $('panels').replaceChildren(...panels);
  // The same tab stays open when the channel is drawn again (after a revert or a reset).
  const open = tabs.findIndex((tab) => tab.textContent === page.tab);
  if (tabs.length) selectTab(tabs, Math.max(open, 0), false);
  const keys = description.tabs.flatMap((t) => t.controls).filter((c) => c.default !== undefined);
  options($('restore-key'), keys.map((c) => [c.key, `${c.name} (${c.keyName})`]));
  readReadouts(readouts);
}

// ---------------------------------------------------------------- schemes

// One row per scheme, made when the channel is loaded; a reload refreshes
// what flush would say and the periods nobody is editing.
async function loadSchedule(fresh = false) {
  const periods = await api.get(path('/schedule'));
  if (fresh) $('schedule').replaceChildren(...periods.map(periodRow));
  for (const p of periods) {
    const row = $(`period-${p.scheme}`).closest('tr');
    if (!row.edited) $(`period-${p.scheme}`).value = p.period;
    row.cells[2].textContent = p.check === 0 ? 'be accepted' : `be refused: ${p.check} ${p.reason}`;
  }
}

function periodRow(p) {
  const row = document.createElement('tr');
  const input = Object.assign(document.createElement('input'), { id: `period-${p.scheme}` });
  input.setAttribute('aria-label', `Scheme ${p.scheme} period`);
  input.addEventListener('input', () => (row.edited = true));
  const save = Object.assign(document.createElement('button'), { type: 'button', textContent: 'Save period' });
  save.setAttribute('aria-label', `Save period of scheme ${p.scheme}`);
  save.addEventListener('click', async () => {
    const saved = await act(`Period of scheme ${p.scheme}`, () =>
      api.put(path(`/schedule/${p.scheme}`), { period: input.value }),
    );
    if (saved) row.edited = false;
    loadSchedule();
  });
  for (const cell of [String(p.scheme), input, '', save]) row.insertCell().append(cell);
  return row;
}

// ---------------------------------------------------------------- live state

function showTrace(entries) {
  const list = $('trace');
  for (const line of describeTrace(entries)) {
    list.append(Object.assign(document.createElement('li'), { textContent: line }));
  }
  while (list.children.length > TRACE_KEPT) list.firstElementChild.remove();
  list.scrollTop = list.scrollHeight;
}

async function poll() {
  const channel = page.channel;
  const actions = page.actions;
  try {
    const state = await api.get(path('/state'));
    if (channel !== page.channel || actions !== page.actions) return;
    for (const [key, value] of Object.entries(state.values)) page.items.get(Number(key))?.show(value);
    $('scheme-now').textContent = state.scheme;
    if (document.activeElement !== $('scheme')) $('scheme').value = state.scheme;
    $('mode').checked = state.mode === 1;
    if (page.simulated) {
      $('clock-now').textContent = `${state.clock.date} ${state.clock.time}`;
      $('speed').value = state.clock.speed;
      document.querySelector(`input[name=daynight][value=${state.night ? 'night' : 'day'}]`).checked = true;
      const trace = await api.get(`/trace?since=${page.cursor ?? state.cursor}&channel=${channel}&changes=1`);
      if (channel === page.channel) {
        showTrace(trace.entries);
        page.cursor = trace.next;
      }
    }
  } catch (error) {
    say(`The camera does not answer: ${error.message}`);
  }
}

async function loadChannel(channel) {
  page.channel = channel;
  page.cursor = null;
  $('trace').replaceChildren();
  const [description, scheme] = await Promise.all([api.get(path('/controls')), api.get(path('/scheme'))]);
  renderTabs(description);
  const schemes = [...Array(scheme.schemes).keys()];
  options($('scheme'), schemes.map((s) => [s, `Scheme ${s}`]));
  options($('file-scheme'), schemes.map((s) => [s, `Scheme ${s}`]));
  await loadSchedule(true);
  await poll();
}

// ---------------------------------------------------------------- files and log

async function showFile() {
  const file = await act('Parameter file', () => api.get(path(`/files/${$('file-scheme').value}`)));
  $('file').replaceChildren(
    ...(file?.entries ?? []).map((e) => {
      const row = document.createElement('tr');
      for (const text of [e.key, e.name ?? '?', e.value]) row.insertCell().textContent = text;
      return row;
    }),
  );
}

async function showLog() {
  const log = await api.get('/log');
  $('level').value = log.level;
  $('log').textContent = log.text || '(empty)';
}

// ---------------------------------------------------------------- wiring

function wire() {
  const reload = () => loadChannel(page.channel);
  $('channel').addEventListener('change', () => loadChannel(Number($('channel').value)));
  $('scheme').addEventListener('change', () =>
    act(`Scheme ${$('scheme').value}`, () => api.put(path('/scheme'), { scheme: Number($('scheme').value) })).then(poll),
  );
  $('mode').addEventListener('change', () =>
    act('Parameter mode', () => api.put(path('/scheme'), { mode: $('mode').checked ? 1 : 0 })).then(poll),
  );
  $('flush').addEventListener('click', () => act('Save', () => api.post(path('/flush'))).then(() => loadSchedule()));
  $('revert').addEventListener('click', () => act('Revert', () => api.post(path('/revert'))).then(reload));
  $('reset').addEventListener('click', () => {
    if (!confirm(`Every scheme of channel ${page.channel} goes back to the factory set. Go on?`)) return;
    act('Factory reset', () => api.post(path('/reset'))).then(reload);
  });
  $('restore').addEventListener('click', () =>
    act('Restore', () => api.post(path(`/restore/${$('restore-key').value}`))).then(poll),
  );
  $('set-time').addEventListener('click', () =>
    act('Clock', () => api.put('/clock', { time: $('time').value })).then(poll),
  );
  $('run-passes').addEventListener('click', () =>
    act('Passes', () => api.post('/clock/passes', { count: Number($('passes').value) })).then(poll),
  );
  $('speed').addEventListener('change', () =>
    act('Speed', () => api.put('/clock', { speed: Number($('speed').value) })).then(poll),
  );
  for (const radio of document.querySelectorAll('input[name=daynight]')) {
    radio.addEventListener('change', () =>
      act(radio.value === 'day' ? 'Day' : 'Night', () => api.put(path('/daynight'), { state: radio.value })).then(poll),
    );
  }
  $('show-file').addEventListener('click', showFile);
  $('show-log').addEventListener('click', showLog);
  $('level').addEventListener('change', () =>
    act('Debug level', () => api.put('/log/level', { level: Number($('level').value) })),
  );
}

async function start() {
  const camera = await api.get('/camera');
  $('camera').textContent = `${camera.model} ${camera.firmware}`;
  page.simulated = camera.simulated;
  $('simulator').hidden = !camera.simulated;
  const channels = [...Array(camera.channels).keys()].map((i) => [i + 1, `Channel ${i + 1}`]);
  options($('channel'), channels);
  options($('level'), [-1, 0, 1, 2, 3, 4, 5, 6, 7].map((l) => [l, String(l)]));
  wire();
  await loadChannel(1);
  await showLog();
  say('Ready');
  // One poll at a time: the next starts a while after the last one ended.
  const loop = () => poll().then(() => setTimeout(loop, POLL_MS));
  setTimeout(loop, POLL_MS);
}

start().catch((error) => say(`The page could not start: ${error.message}`));
