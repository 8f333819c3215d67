// The state of the page, which its address holds, its controls, and where its items come from.

const byId = (id) => document.getElementById(id);
const holder = element('div', {id: 'list'});
const entries = [];  // in the order of the collection
const byKey = new Map();
const list = new WindowedList(holder);
let shown = [];
let isLoaded = false;
let isPrinting = false;

const NO_STATE = {query: '', group: '*', status: '*', sort: '', view: 'cards', item: ''};
let state = {...NO_STATE};

const addressOf = (wanted) => {
  const parameters = new URLSearchParams();
  for (const [name, value] of Object.entries(wanted)) if (value !== NO_STATE[name]) parameters.set(name, value);
  return `#${parameters}`;
};
const readState = () => {
  const parameters = new URLSearchParams(location.hash.slice(1));
  return Object.fromEntries(Object.entries(NO_STATE).map(([name, value]) => [name, parameters.get(name) ?? value]));
};

/** Changes the state and the address. `isStep`: whether going back undoes it. */
const change = (changes, isStep = true) => {
  const wanted = {...state, ...changes};
  const address = addressOf(wanted);
  if (address === addressOf(state)) return;
  const kept = {isOpened: 'item' in changes && Boolean(changes.item)};
  if (isStep) history.pushState(kept, '', address);
  else history.replaceState(history.state, '', address);
  follow(wanted);
};

/** Shows a state. */
const follow = (wanted) => {
  const old = state;
  state = wanted;
  const isOnlyItem = addressOf({...old, item: ''}) === addressOf({...state, item: ''});
  if (!isOnlyItem) {
    showControls();
    apply();
  }
  if (isLoaded) showItem();
};

// The values that items are ordered by, and whether these are numbers.
const field = (name) => (item) => textsOf(item, findField(name)).join('; ');
const valueOf = (name) => (item) => {
  const {kind} = findField(name);
  return textsOf(item, findField(name)).map((text) => itemValue(kind, text)).find(Boolean)?.number;
};
const ORDERS = {
  title: ['Title', field('Title')],
  person: ['Person', peopleOf],
  date: ['Date', (item) => valueOf('released')(item) ?? valueOf('published')(item) ?? valueOf('premiere')(item)],
  added: ['Added', valueOf('added')],
  price: ['Price', valueOf('price')],
  due: ['Due', valueOf('due')],
};
const collator = new Intl.Collator(language, {numeric: true});
let ordered = {};  // the entries by each order that was wanted so far

/** All entries in the order of the state. Those without a value come last in either direction. */
const inOrder = () => {
  const by = state.sort.replace(/^-/, '');
  if (!ORDERS[by]) return entries;
  if (ordered[state.sort]) return ordered[state.sort];
  const sign = state.sort.startsWith('-') ? -1 : 1;
  const keyed = entries.map((entry) => {
    const value = ORDERS[by][1](entry.item);
    return {entry, value, isMissing: value === undefined || value === ''};
  });
  keyed.sort((a, b) => {
    if (a.isMissing || b.isMissing) return a.isMissing - b.isMissing || a.entry.place - b.entry.place;
    const order = typeof a.value === 'number' ? a.value - b.value : collator.compare(a.value, b.value);
    return sign * order || a.entry.place - b.entry.place;
  });
  return ordered[state.sort] = keyed.map(({entry}) => entry);
};

const isInGroup = ({item}) => state.group === '*' || state.group.slice(1) === (item.ProductGroup ?? '');
const hasStatus = ({item}) => state.status === '*' ||
  (state.status === 'due' ? dueState(item) > 0 : state.status === String(item.status?.value ?? 'none'));

/** Finds and shows the items of the state; a query with an error leaves them as they are. */
const apply = (isSame = false) => {
  let terms;
  try {
    terms = new QueryParser(state.query).parse();
  } catch (error) {
    if (!(error instanceof QueryError)) throw error;
    byId('error').textContent = error.message;
    byId('query').setAttribute('aria-invalid', 'true');
    return;
  }
  byId('error').textContent = '';
  byId('query').removeAttribute('aria-invalid');
  shown = inOrder().filter((entry) => isInGroup(entry) && hasStatus(entry) && matches(entry, terms));
  byId('count').value = !isLoaded ? t('Loading …') : shown.length === entries.length ? counted(entries.length) :
    t('{0} of {1}', shown.length.toLocaleString(language), counted(entries.length));
  byId('none').hidden = !isLoaded || shown.length > 0 || entries.length === 0;
  byId('empty').hidden = !isLoaded || entries.length > 0;
  if (state.view === 'overview') {
    list.show([], 'overview');
    holder.replaceChildren(overviewOf(shown));
  } else {
    list.show(shown, state.view, isSame);
  }
};

// The open item.
const dialog = element('dialog', {id: 'item', 'aria-labelledby': 'item-title'});
/** Whether a form is open in the item, which only its own buttons close. */
const isEditing = () => dialog.querySelector('.edit[data-open]') !== null;
const step = (by) => {
  if (isEditing()) return;
  const entry = shown[shown.indexOf(byKey.get(state.item)) + by];
  if (entry) change({item: entry.key}, false);
};
const closeItem = () => history.state?.isOpened ? history.back() : change({item: ''}, false);
const showItem = () => {
  const entry = byKey.get(state.item);
  if (!entry) {
    if (!dialog.open) return;
    const place = shown.findIndex((each) => each.key === dialog.dataset.key);
    dialog.close();
    if (place >= 0 && state.view !== 'overview') list.focus(place);
    return;
  }
  dialog.dataset.key = entry.key;
  dialog.dataset.version = entry.item.version ?? '';
  const place = shown.indexOf(entry);
  const button = (label, sign, by) => element('button', {type: 'button', class: 'plain-button', 'aria-label': t(label), title: t(label),
    disabled: !shown[place + by] || place < 0, click: () => step(by)}, sign);
  const details = detailsOf(entry);
  dialog.replaceChildren(
    element('div', {class: 'bar-top'}, button('Previous', '‹', -1), button('Next', '›', 1),
      element('button', {type: 'button', class: 'plain-button', 'aria-label': t('Close'), title: t('Close'), click: closeItem}, '✕')),
    details);
  if (!dialog.open) dialog.showModal();
  byId('item-title').focus();
  dialog.scrollTop = 0;
  tessaronPage.whenOpened?.(entry, details.querySelector('.edit'));
};
dialog.addEventListener('cancel', (event) => {
  event.preventDefault();
  closeItem();
});
dialog.addEventListener('click', (event) => event.target === dialog && !isEditing() && closeItem());

// The controls.
const select = (id, label) => element('select', {id, 'aria-label': t(label), change: ({target}) => change({[id]: target.value})});
const viewButton = (view, label) => element('button', {type: 'button', 'data-view': view, click: () => change({view})}, t(label));
const clearAll = () => {
  change({...NO_STATE, view: state.view});
  byId('query').focus();
};
let typing;
const typed = ({target}) => {
  clearTimeout(typing);
  // One step back undoes all that was typed without a pause.
  const isStep = performance.now() - (typed.last ?? -1e4) > 1500;
  typed.last = performance.now();
  typing = setTimeout(() => change({query: target.value}, isStep), entries.length > 2000 ? 20 : 0);
};
byId('tools').append(
  element('form', {role: 'search', submit: (event) => event.preventDefault()},
    element('input', {type: 'search', id: 'query', autocomplete: 'off', spellcheck: 'false', 'aria-label': t('Search'),
      'aria-describedby': 'error', placeholder: t('Search titles, people, tracks …'), input: typed}),
    select('group', 'Group'), select('status', 'Status'), select('sort', 'Sort by'),
    element('button', {type: 'button', id: 'reverse', class: 'plain-button', 'aria-label': t('Reverse order'), title: t('Reverse order'),
      click: () => state.sort && change({sort: state.sort.startsWith('-') ? state.sort.slice(1) : `-${state.sort}`})}, '⇅'),
    element('div', {class: 'views', role: 'group', 'aria-label': t('View')},
      viewButton('cards', 'Cards'), viewButton('table', 'Table'), viewButton('overview', 'Overview'))),
  element('p', {id: 'error', class: 'error', 'aria-live': 'polite'}),
  element('div', {class: 'below'},
    element('details', {class: 'help'}, element('summary', {}, t('Help with searching')), element('p', {}, t(HELP))),
    element('output', {id: 'count', for: 'query group status', 'aria-live': 'polite'})));
byId('items').append(holder,
  element('div', {id: 'none', class: 'none', hidden: true}, element('p', {}, t('Nothing here fits.')),
    element('button', {type: 'button', id: 'clear', click: clearAll}, t('Show everything'))),
  element('p', {id: 'empty', class: 'none', hidden: true}, t('This collection is empty.')));
byId('items').after(dialog);
// The table's heading stays below the controls.
new ResizeObserver(() => {
  const isSticky = getComputedStyle(byId('tools')).position === 'sticky';
  document.documentElement.style.setProperty('--tools', isSticky ? `${byId('tools').offsetHeight}px` : '0');
}).observe(byId('tools'));

/** Writes the choices of the filters, with how many items each has. */
const fillControls = () => {
  const groups = new Map(), statuses = new Map();
  let due = 0;
  for (const {item} of entries) {
    const group = item.ProductGroup ?? '', status = item.status?.value ?? -1;
    groups.set(group, (groups.get(group) ?? 0) + 1);
    statuses.set(status, {count: (statuses.get(status)?.count ?? 0) + 1, name: item.status?.name});
    if (dueState(item)) ++due;
  }
  const option = (value, label, count) => element('option', {value}, count === undefined ? label : `${label} (${count})`);
  const labelOf = (status, name) => status === -1 ? t('No status') : name ? t(name) : `${t('Status')} ${status}`;
  byId('group').replaceChildren(option('*', t('All groups')),
    ...[...groups].sort((a, b) => collator.compare(a[0], b[0])).map(([name, count]) => option(`=${name}`, name || t('No group'), count)));
  byId('status').replaceChildren(option('*', t('Any status')), ...(due ? [option('due', t('Due or due soon'), due)] : []),
    ...[...statuses].sort((a, b) => a[0] - b[0]).map(([status, {count, name}]) =>
      option(status === -1 ? 'none' : String(status), labelOf(status, name), count)));
  byId('sort').replaceChildren(option('', t('As in the collection')),
    ...Object.entries(ORDERS).map(([name, [label]]) => option(name, `${t('Sort by')}: ${t(label)}`)));
  byId('about').replaceChildren(counted(entries.length), ...(facts.isServed ? [] : [` ${t('as of {0}', facts.day)}`]),
    ...(due ? [' · ', element('span', {class: 'due'}, t('{0} due', due))] : []));
  showControls();
};
const showControls = () => {
  if (byId('query').value !== state.query) byId('query').value = state.query;
  byId('group').value = state.group;
  byId('status').value = state.status;
  byId('sort').value = state.sort.replace(/^-/, '');
  byId('reverse').setAttribute('aria-pressed', String(state.sort.startsWith('-')));
  byId('reverse').disabled = !state.sort;
  for (const button of document.querySelectorAll('[data-view]'))
    button.setAttribute('aria-pressed', String(button.dataset.view === state.view));
};

// The keyboard: "/" goes to the search, arrows move among the items, Escape goes back.
const moves = {ArrowRight: () => 1, ArrowLeft: () => -1, ArrowDown: () => list.columns(), ArrowUp: () => -list.columns()};
document.addEventListener('keydown', (event) => {
  if (event.ctrlKey || event.metaKey || event.altKey) return;
  const isInField = event.target.matches('input, select, textarea');
  if (event.key === 'Escape' && event.target === byId('query')) return clearAll();
  if (event.key === '/' && !isInField && !dialog.open) {
    event.preventDefault();
    byId('query').focus();
  }
  if (!moves[event.key] || (isInField && event.target !== byId('query'))) return;
  if (dialog.open) {
    if (event.key === 'ArrowLeft' || event.key === 'ArrowRight') step(moves[event.key]());
    return;
  }
  const place = list.focused();
  if (place < 0) {
    if (event.key !== 'ArrowDown' || event.target !== byId('query')) return;
    event.preventDefault();
    return list.focus(0);
  }
  event.preventDefault();
  const next = place + moves[event.key]();
  if (next >= 0 && next < list.entries.length) list.focus(next);
  else if (event.key === 'ArrowUp') byId('query').focus();
});
document.addEventListener('click', (event) => {
  const link = event.target.closest('a[href^="#"]');
  if (!link || event.ctrlKey || event.metaKey || event.shiftKey || event.button) return;
  event.preventDefault();
  const wanted = Object.fromEntries(Object.entries(NO_STATE).map(([name, value]) =>
    [name, new URLSearchParams(link.hash.slice(1)).get(name) ?? value]));
  change(wanted);
});
addEventListener('popstate', () => follow(readState()));

// Paper does not scroll: all that is shown is printed; an open item alone.
addEventListener('beforeprint', () => {
  isPrinting = true;
  if (state.view !== 'overview') list.fillAll();
});
addEventListener('afterprint', () => {
  isPrinting = false;
  if (state.view !== 'overview') list.show(shown, state.view, true);
});

const add = (items) => {
  for (const item of items) {
    // Items without a key, or with that of another, have one on this page alone.
    if (!item.key || byKey.has(item.key)) item.key = `${item.key ?? ''}~${entries.length}`;
    const entry = new Entry(item, entries.length);
    entries.push(entry);
    byKey.set(entry.key, entry);
  }
};
/** Lets the browser draw and answer its user. */
const pause = () => new Promise((done) => setTimeout(done));

/** The items in the page, block by block. */
async function* embedded() {
  for (const block of document.querySelectorAll('script.items')) {
    yield block.textContent.trim().split('\n').map((line) => JSON.parse(line));
    block.remove();
  }
}

const REQUEST = 1000;  // items
/** What the server answers, as JSON; throws its error. */
const ask = async (path, options) => {
  const answer = await fetch(path, {credentials: 'same-origin', ...options});
  const body = await answer.json().catch(() => ({}));
  if (!answer.ok) throw Object.assign(new Error(body.error ?? `${answer.status} ${answer.statusText}`), {status: answer.status, body});
  return body;
};
async function* served() {
  for (let from = 0, total = 1; from < total;) {
    const page = await ask(`api/items?from=${from}&count=${REQUEST}`);
    total = page.total;
    tessaronPage.version = page.version;
    yield page.items;
    if (page.items.length === 0) return;
    from += page.items.length;  // fewer than were asked for when they are large
  }
}

/** Loads all items; the first are shown at once. */
const load = async () => {
  try {
    for await (const items of facts.isServed ? served() : embedded()) {
      add(items);
      if (entries.length === items.length && addressOf({...state, item: '', view: 'cards'}) === '#') {
        apply();
        performance.mark('first');
      }
      await pause();
    }
  } catch (error) {
    byId('error').textContent = t('The items cannot be loaded: {0}', error.message);
  }
  isLoaded = true;
  fillControls();
  apply(true);
  showItem();
  performance.mark('loaded');
  prepare();
};

/** Makes ready for the first search while nobody waits. */
let prepared = 0;
const prepare = () => requestIdleCallback?.((deadline) => {
  while (prepared < entries.length && deadline.timeRemaining() > 1) void entries[prepared++].searched;
  if (prepared < entries.length) prepare();
});

/** What the part that edits works with. */
const tessaronPage = window.tessaronPage = {entries, byKey, dialog, element, t, addTexts, ask, facts, typedName,
  get state() {
    return state;
  },
  change,
  showItem,
  /** Shows the page again after items have changed, at the same place. */
  refresh() {
    ordered = {};
    fillControls();
    apply(true);
  },
  add};

document.documentElement.lang = language;
if (!facts.isServed && document.querySelector('meta[http-equiv]').content.includes('img-src http'))
  document.body.append(element('footer', {}, t('Covers come from the addresses in the collection; all else is in this file.')));
state = readState();
showControls();
tessaronPage.whenLoaded = load();
