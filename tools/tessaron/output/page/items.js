// The items, and how they are drawn. Texts of items become text nodes, never markup.

/** An element with attributes, and children that are nodes or texts; what is null or false is left out. */
const element = (tag, attributes, ...children) => {
  const node = document.createElement(tag);
  for (const [name, value] of Object.entries(attributes ?? {})) {
    if (typeof value === 'function') node.addEventListener(name, value);
    else if (value !== null && value !== undefined && value !== false) node.setAttribute(name, value === true ? '' : value);
  }
  node.append(...children.flat(Infinity).filter((child) => child || child === 0));
  return node;
};

/** 1 for what is due or overdue, 2 for what is due soon, else 0. */
const dueState = (item) => {
  const due = item.due && isoDays(item.due)?.[0];
  const days = due - Date.now() / 864e5;
  return !item.due ? 0 : days < 1 ? 1 : days <= 2 ? 2 : 0;
};
const dueMark = (item) => {
  const state = dueState(item);
  return state === 0 ? '' : state === 2 ? 'due soon' : item.due < isoDay(today()) ? 'overdue' : 'due';
};

/** An item of the page, its place in the collection, and what is made of it when it is needed. */
class Entry {
  constructor(item, place) {
    this.place = place;
    this.replace(item);
  }
  replace(item) {
    this.item = item;
    if (item.status) item.status.due = dueState(item);
    this.foldedText = null;
  }
  get key() {
    return this.item.key;
  }
  get title() {
    return this.item.Title || this.item.ASIN || '—';
  }
  get searched() {
    this.foldedText ??= searchedText(this.item);
    return this.foldedText;
  }
}

/** Names, separated by commas, or by semicolons where one has a comma. */
const joined = (names) => {
  const found = (names ?? []).filter(Boolean);
  return found.join(found.some((name) => name.includes(',')) ? '; ' : ', ');
};
const peopleOf = (item) =>
  joined(item.authors) || joined(item.artists) || joined(item.directors) || joined(item.actors);

/** Han characters look different in Japanese and Chinese text; kana mark a text as Japanese. */
const languageOf = (text) => /[\u3040-\u30ff]/.test(text ?? '') ? 'ja' : null;
const text = (tag, attributes, content) => element(tag, {dir: 'auto', lang: languageOf(content), ...attributes}, content);
const isWebAddress = (address) => /^https?:\/\//i.test(address ?? '');

const SHAPES = [['music', 'disc'], ['audio', 'disc'], ['game', 'game'], ['dvd', 'film'], ['video', 'film'],
  ['film', 'film'], ['software', 'box'], ['book', 'book']];
const shapeOf = (item) => {
  const group = (item.ProductGroup ?? '').toLowerCase();
  return SHAPES.find(([part]) => group.includes(part))?.[1] ?? 'book';
};
/** One of twelve colors, by the key alone. */
const hueOf = (key) => {
  let hash = 2166136261;  // FNV-1a
  for (let i = 0; i < key.length; ++i) hash = Math.imul(hash ^ key.charCodeAt(i), 16777619);
  return (hash >>> 0) % 12;
};

const coverAddress = (item, size) => {
  if (typeof item.cover === 'string') return item.cover;
  return item.cover ? `covers/${encodeURIComponent(item.key)}?size=${size}&version=${item.version ?? ''}` : '';
};
/** The drawn cover, and in front of it the picture as soon as it is there. */
const coverOf = (entry, size) => {
  const {item} = entry;
  const drawn = element('div', {class: 'drawn', 'aria-hidden': 'true', lang: languageOf(item.Title)},
    text('b', {}, entry.title), text('i', {}, peopleOf(item)));
  const cover = element('div', {class: `cover ${shapeOf(item)} h${hueOf(entry.key)}`}, drawn);
  const address = coverAddress(item, size);
  if (!address) return cover;
  const image = element('img', {alt: '', loading: 'lazy', decoding: 'async', referrerpolicy: 'no-referrer'});
  // Shops send a single pixel for a missing picture.
  image.addEventListener('load', () => {
    if (image.naturalWidth > 1) cover.classList.add('loaded');
    else image.remove();
  });
  image.addEventListener('error', () => image.remove());
  image.src = address;
  cover.append(image);
  return cover;
};

const starsOf = (rating) => /^[0-5][0-9.]{0,3}$/.test(rating) ?
  [element('b', {'aria-hidden': 'true'}, '★'), ` ${rating}`] : [rating];
const marksOf = (item) => {
  if (!item.status) return null;
  const {value, name} = item.status;
  const mark = dueMark(item);
  return element('div', {class: 'marks'},
    element('span', {class: `mark s${value}`}, name ? t(name) : `${t('Status')} ${value}`),
    mark && element('span', {class: mark === 'due soon' ? 'mark soon' : 'mark due'}, t(mark)));
};
const datesOf = (loan) => [['from {0}', loan.begin], ['until {0}', loan.end], ['returned {0}', loan.returned]]
  .filter(([, date]) => date).map(([words, date]) => t(words, date));
const stateOf = ({target, ...status}) => [target, ...datesOf(status)].filter(Boolean).join(', ');
const priceOf = (item) => item.ListPrice || item.LowestNewPrice || item.LowestUsedPrice || '';
const kindOf = (item) => [item.ProductGroup, item.Binding !== item.ProductGroup && item.Binding].filter(Boolean).join(' · ');

/** The link that opens an item: the address works in another tab, too. */
const linkTo = (entry) => text('a', {class: 'open', href: addressOf({...state, item: entry.key}), 'data-key': entry.key}, entry.title);

const cardOf = (entry) => {
  const {item} = entry;
  const people = peopleOf(item), kind = kindOf(item);
  const status = item.status && stateOf(item.status);
  return element('article', {class: 'card', 'data-id': entry.key}, coverOf(entry, 'medium'),
    element('div', {class: 'body'}, marksOf(item), element('h2', {}, linkTo(entry)),
      people && text('p', {class: 'by'}, people), kind && text('p', {class: 'kind'}, kind),
      status && text('p', {class: 'state'}, status),
      element('div', {class: 'price'}, priceOf(item) && element('span', {}, priceOf(item)),
        item.AverageRating && element('span', {class: 'stars'}, starsOf(item.AverageRating),
          item.TotalReviews && ` (${item.TotalReviews})`))));
};

// The columns of the table: heading, class, what orders it, cell.
const COLUMNS = [
  ['Title', 'title', 'title', (entry) => linkTo(entry)],
  ['Person', 'people', 'person', ({item}) => peopleOf(item)],
  ['Group', 'group', '', ({item}) => item.ProductGroup],
  ['Year', 'year', 'date', ({item}) => yearOf(item)],
  ['Status', 'status', '', ({item}) => marksOf(item)],
  ['Due', 'due', 'due', ({item}) => item.due],
  ['Price', 'money', 'price', ({item}) => priceOf(item)],
  ['Added', 'added', 'added', ({item}) => item.DateAdded],
];
const rowOf = (entry, place) => element('tr', {'data-id': entry.key, 'aria-rowindex': place + 2},
  COLUMNS.map(([, name, , cell], i) =>
    element(i ? 'td' : 'th', {class: name, dir: 'auto', scope: i ? null : 'row'}, cell(entry) ?? '')));

// What the description of an item may hold, without any attributes; of all other elements only the text is kept.
const KEPT = {b: 'b', strong: 'b', i: 'i', em: 'i', p: 'p', br: 'br', ul: 'ul', ol: 'ol', li: 'li'};
const bareName = (name) => KEPT[name] ?? (/^(script|style)$/.test(name) ? 'template' : /^(div|t[rd]|h\d)$/.test(name) ? 'div' : 'span');
const tidied = (html) => {
  const copy = (from, to, depth) => {
    for (const node of from.childNodes) {
      const name = KEPT[node.localName];
      if (node.nodeType === Node.TEXT_NODE) to.append(node.data);
      else if (name && depth < 32) copy(node, to.appendChild(document.createElement(name)), depth + 1);
      else copy(node, node.localName === 'div' ? (to.append(' '), to) : to, depth + 1);
    }
    return to;
  };
  // The parser runs no script and loads nothing, but would report attributes that the page's policy forbids.
  const bare = html.replace(/<(\/?)([a-z][a-z0-9]*)[^>]*>/gi, (_, slash, name) => `<${slash}${bareName(name.toLowerCase())}>`);
  return copy(new DOMParser().parseFromString(bare, 'text/html').body, document.createDocumentFragment(), 0);
};

const FACTS = facts.fields.filter((field) => field.label).sort((a, b) => (a.order ?? 0) - (b.order ?? 0));
const offerOf = (price, count) => price && count ? `${price} (${count})` : price;
const factsOf = (item) => {
  const link = isWebAddress(item.DetailPageURL) &&
    element('a', {href: item.DetailPageURL, rel: 'noopener noreferrer', target: '_blank'}, t('Product page'));
  const rows = [
    ...FACTS.map(({label, name}) => [t(label), Array.isArray(item[name]) ? joined(item[name]) : item[name]]),
    [t('List price'), item.ListPrice],
    [t('New from'), offerOf(item.LowestNewPrice, item.TotalNew)],
    [t('Used from'), offerOf(item.LowestUsedPrice, item.TotalUsed)],
    [t('Offer'), item.offerListing?.Price],
    [t('Availability'), item.offerListing?.Availability],
    ...(item.customFields ?? []).map(({name, value}) => [name, value]),
    [t('Copies'), item.copies > 1 && String(item.copies)],
    ...(item.files ?? []).map((file) => [t('File'), file.path]),
    [t('Added'), item.DateAdded],
    ['ASIN', item.ASIN],
    [t('On the web'), link],
  ];
  return element('dl', {}, rows.filter(([, value]) => value).map(([label, value]) =>
    [text('dt', {}, label ?? ''), typeof value === 'string' ? text('dd', {}, value) : element('dd', {}, value)]));
};

const section = (heading, ...content) => element('section', {}, text('h3', {}, heading), content);
const listOf = (tag, lines) => element(tag, {}, lines.map((line) => text('li', {}, line)));
const textsIn = (item) => {
  const {Notes: notes, description, features, discs = [], loans, reviewContents: reviews} = item;
  return [
    notes && section(t('Notes'), text('p', {class: 'note'}, notes)),
    description && section(t('Description'), element('div', {class: 'text', dir: 'auto'}, tidied(description))),
    features && section(t('Features'), listOf('ul', features)),
    discs.map((tracks, i) => tracks.length > 0 &&
      section(discs.length === 1 ? t('Tracks') : t('Disc {0}', i + 1), listOf('ol', tracks))),
    loans && section(t('Loans'), listOf('ul', loans.map((loan) =>
      [`${t(loan.name ?? '')} ${loan.target ?? ''}`, ...datesOf(loan)].join(', ')))),
    reviews && section(t('Reviews'), reviews.map((review, i) => element('div', {class: 'review'},
      element('p', {dir: 'auto'}, element('span', {class: 'stars'}, starsOf(item.reviewRatings?.[i] ?? '')), ' ',
        element('b', {}, item.reviewSummaries?.[i] ?? '')),
      element('div', {class: 'text plain', dir: 'auto'}, tidied(review))))),
  ];
};

/** Everything about an item. */
const detailsOf = (entry) => {
  const {item} = entry;
  const people = peopleOf(item), kind = kindOf(item);
  const status = item.status && stateOf(item.status);
  return element('article', {class: 'item', 'data-id': entry.key}, coverOf(entry, 'medium'),
    element('div', {class: 'body'}, text('h2', {id: 'item-title', tabindex: '-1'}, entry.title), marksOf(item),
      people && text('p', {class: 'by'}, people), kind && text('p', {class: 'kind'}, kind),
      status && text('p', {class: 'state'}, status), element('div', {class: 'edit'}),
      element('div', {class: 'more'}, factsOf(item), textsIn(item))));
};
