// The fields of items and the language of queries, as the command-line tool has them.

// Case, accents, full-width forms and ligatures make no difference to a search.
const PLAIN = {ß: 'ss', æ: 'ae', œ: 'oe', ø: 'o', đ: 'd', ð: 'd', ł: 'l', ħ: 'h', ŧ: 't', þ: 'th', ı: 'i', ς: 'σ'};
const MARKS = /[\u0300-\u036f\u0591-\u05c7\u064b-\u065f\u0670\u1dc0-\u1dff\u20d0-\u20f0]/g;
const fold = (text) => {
  // eslint-disable-next-line no-control-regex
  if (/^[\0-\x7f]*$/.test(text)) return text.toLowerCase();
  return text.normalize('NFKD').toLowerCase().normalize('NFKD').replace(MARKS, '')
    .replace(/[ßæœøđðłħŧþıς]/g, (letter) => PLAIN[letter]).normalize('NFC');
};

/** The price in a text, as {amount, currency}; null when there is none. */
const SIGNS = {EUR: '€', USD: '$', US$: '$', GBP: '£', JPY: '¥', '￥': '¥', 円: '¥'};
const BLANK = /[ \t\u00a0\u1680\u2000-\u200a\u202f\u205f\u3000]/;
const DIGIT = /\p{Nd}/u;
const plainCharacter = (c) => {
  if (DIGIT.test(c)) {
    let value = 0;  // the digits of a script follow one another, its zero first
    for (let code = c.charCodeAt(0); DIGIT.test(String.fromCharCode(code - 1)); --code) ++value;
    return String(value % 10);
  }
  if ('.\uff0e\u066b'.includes(c)) return '.';
  if (',\uff0c\u066c'.includes(c)) return ',';
  return c === "'" || c === '\u2019' || BLANK.test(c) ? ' ' : '';
};
const isBeforeFraction = (c) => c < '\x80' ? !/[a-z]/i.test(c) :
  /[\u00a2-\u00a5\u20a0-\u20cf\uff04\uffe0-\uffe6]/.test(c) || BLANK.test(c);
const splitPrice = (text) => {
  let number = '', currency = '', end = 0, isBehind = false;
  for (const c of text.split('')) {
    const plain = plainCharacter(c);
    const isDigit = /\d/.test(plain);
    if ((isDigit && isBehind) || (!number && /[-\u2212]/.test(c))) return null;
    if (!number && plain === '.' && (!currency || isBeforeFraction(currency.at(-1)))) number = '0';
    if (isDigit || (number && plain && !isBehind)) {
      number += plain;
      if (isDigit) end = number.length;
    } else {
      isBehind = number !== '';
      currency += c;
    }
  }
  return end ? {number: number.slice(0, end), currency} : null;
};
/** How many decimals a number has; null for a misplaced separator. */
const countDecimals = (number) => {
  const last = number.search(/[., ]\d*$/);
  if (last < 0) return 0;
  const following = number.length - last - 1;
  const isFirstOfKind = number.indexOf(number[last]) === last;
  const isMixed = /\D/.test(number.slice(0, last));
  const isGroup = following === 3 && last <= 3 && number[0] !== '0';
  if (number[last] !== ' ' && isFirstOfKind && (isMixed || !isGroup)) return following;
  return following !== 3 || (isMixed && isFirstOfKind) ? null : 0;
};
const parsePrice = (text) => {
  const parts = splitPrice(text);
  const decimals = parts && countDecimals(parts.number);
  if (decimals === null) return null;
  const digits = parts.number.replace(/\D/g, '');
  const whole = digits.length - decimals;
  const currency = [...parts.currency.toUpperCase()].filter((c) => !'.,-'.includes(c) && !BLANK.test(c)).join('');
  return {amount: Number(`${digits.slice(0, whole)}.${digits.slice(whole)}`), currency: SIGNS[currency] ?? currency};
};

/** A day as its number from 1970-01-01; null for one that does not exist. */
const dayNumber = (year, month, day) => {
  const date = new Date(0);
  date.setUTCFullYear(year, month - 1, day);
  return date.getUTCMonth() === month - 1 && date.getUTCDate() === day ? date.getTime() / 864e5 : null;
};
const today = () => Math.floor(Date.now() / 864e5);
const isoDay = (day) => new Date(day * 864e5).toISOString().slice(0, 10);

/** The days of "2024", "2024-05" or "2024-05-31" as [first, last]. */
const isoDays = (text) => {
  const parts = /^(\d{4})(?:-(\d{2}))?(?:-(\d{2}))?$/.exec(text);
  if (!parts) return null;
  const [year, month, day] = parts.slice(1).map(Number);
  const first = dayNumber(year, month || (parts[2] ? 0 : 1), day || (parts[3] ? 0 : 1));
  if (first === null) return null;
  if (parts[3]) return [first, first];
  const next = parts[2] && month < 12 ? dayNumber(year, month + 1, 1) : dayNumber(year + 1, 1, 1);
  return [first, next - 1];
};
/** The day of "today", "7d", "-2w", "3m" or "+1y". */
const relativeDay = (text) => {
  const named = {today: '0d', tomorrow: '1d', yesterday: '-1d'}[text] ?? text;
  const parts = /^([-+]?)(\d{1,4})([dwmy])$/.exec(named);
  if (!parts) return null;
  const count = Number(parts[2]) * (parts[1] === '-' ? -1 : 1);
  if (parts[3] === 'd') return today() + count;
  if (parts[3] === 'w') return today() + 7 * count;
  const date = new Date(today() * 864e5);
  const months = date.getUTCFullYear() * 12 + date.getUTCMonth() + (parts[3] === 'm' ? count : 12 * count);
  const [year, month] = [Math.floor(months / 12), (months % 12 + 12) % 12 + 1];
  for (let day = date.getUTCDate(); ; --day) {  // that month may be shorter
    const found = dayNumber(year, month, day);
    if (found !== null) return found;
  }
};

const NUMBER = /^-?(\d+\.?\d*|\.\d+)(e[-+]?\d+)?/i;
const leadingNumber = (text) => {
  const found = NUMBER.exec(text);
  const number = found ? Number(found[0]) : NaN;
  return Number.isFinite(number) ? {number, rest: text.slice(found[0].length)} : null;
};

/** What a text of an item says, as {number, currency}; null when it is no such text. */
const itemValue = (kind, text) => {
  if (kind === 'date') {
    const days = isoDays(text.slice(0, 10)) ?? text.match(/\d+/g)?.map(isoDays).find(Boolean);
    return days ? {number: days[0], currency: ''} : null;
  }
  const price = parsePrice(text);
  if (price) return {number: price.amount, currency: kind === 'price' ? price.currency : ''};
  const number = kind === 'price' ? null : leadingNumber(text);
  return number && {number: number.number, currency: ''};
};
/** What a text of a query says, as {first, last, currency}. */
const valueRange = (kind, text) => {
  if (kind === 'date') {
    const [first, last] = isoDays(text) ?? [relativeDay(text), relativeDay(text)];
    return first === null ? null : {first, last, currency: ''};
  }
  if (kind === 'price') {
    const price = parsePrice(text);
    return price && {first: price.amount, last: price.amount, currency: price.currency};
  }
  const number = leadingNumber(text);
  return number && !number.rest ? {first: number.number, last: number.number, currency: ''} : null;
};

/** What the page was written with: title, day, fields and statuses. */
const facts = JSON.parse(document.getElementById('facts').textContent);
const FIELDS = new Map();
for (const field of facts.fields) FIELDS.set(field.name.toLowerCase(), field);
for (const field of facts.fields) if (field.short) FIELDS.set(field.short.toLowerCase(), field);

const typedName = (status) => status.toLowerCase().replace(/[ _]/g, '-');
const statusNamed = (name) => facts.statuses.findIndex((status) => typedName(status) === typedName(name));

/** The field that people mean by a name. */
const findField = (name) => {
  const lower = name.replace(/[A-Z]/g, (letter) => letter.toLowerCase());
  if (FIELDS.has(lower)) return FIELDS.get(lower);
  const isCustom = lower.startsWith('custom.') && name.length > 7;
  return isCustom ? {name, kind: 'text', custom: fold(name.slice(7))} : null;
};

const collectTexts = (value, out) => {
  if (value === undefined || value === null || value === '') return out;
  if (Array.isArray(value)) for (const part of value) collectTexts(part, out);
  else if (typeof value === 'object') for (const part of Object.values(value)) collectTexts(part, out);
  else out.push(String(value));
  return out;
};

const PEOPLE = ['authors', 'artists', 'directors', 'actors', 'translators'];
const yearOf = (item) => {
  for (const date of [item.ReleaseDate, item.PublicationDate, item.TheatricalReleaseDate]) {
    const year = date?.match(/\d+/g)?.find((digits) => digits.length === 4);
    if (year) return year;
  }
  return '';
};

/** All texts of a field that are not empty. */
const textsOf = (item, field) => {
  if (field.custom !== undefined)
    return (item.customFields ?? []).filter((slot) => slot.value && fold(slot.name ?? '') === field.custom)
      .map((slot) => slot.value);
  if (field.name === 'people') return PEOPLE.flatMap((name) => collectTexts(item[name], []));
  if (field.name === 'file') return (item.files ?? []).map((file) => file.path);
  if (field.name === 'year') return collectTexts(yearOf(item), []);
  const [name, part] = field.name.split('.');
  return collectTexts(part ? item[name]?.[part] : item[name], []);
};

// What words without a field are looked for in.
const SEARCHED = ['Title', 'OriginalTitle', 'authors', 'artists', 'directors', 'actors', 'translators', 'Publisher',
  'Studio', 'Label', 'discs', 'Notes', 'customFields', 'status.target', 'ASIN'].map(findField);
const searchedText = (item) => SEARCHED.flatMap((field) => textsOf(item, field)).map(fold).join('\uffff');

class QueryError extends Error {
  constructor(place, message, ...values) {
    super(t(message, ...values));
    this.place = place;
  }
}

/** Reads a query. Throws a QueryError with the place of what is wrong. */
class QueryParser {
  constructor(text) {
    this.text = text;
    this.at = 0;
  }

  parse() {
    const terms = [];
    for (;;) {
      while (this.at < this.text.length && this.isAtEnd()) ++this.at;
      if (this.at === this.text.length) return terms;
      terms.push(this.parseTerm());
    }
  }

  isAtEnd() {
    return this.at === this.text.length || /[ \t-\r]/.test(this.text[this.at]);
  }

  parseTerm() {
    const term = {isNegated: this.text[this.at] === '-', alternatives: []};
    if (term.isNegated && (++this.at, this.isAtEnd()))
      throw new QueryError(this.at - 1, 'Nothing follows the minus; put it in quotation marks to search for it.');
    for (;;) {
      term.alternatives.push(this.parseAlternative(term.alternatives.at(-1) ?? {field: null, isExact: false}));
      if (this.isAtEnd()) return term;
      ++this.at;  // the comma
    }
  }

  parseAlternative({field, isExact, test}) {
    const begin = this.at;
    const name = /^([a-z][\w.\-\u0080-\uffff]*)[:=]/i.exec(this.text.slice(begin))?.[1];
    if (name) {
      test = ['has', 'missing'].find((each) => each === name.toLowerCase());
      field = test ? null : findField(name);
      if (!field && !test) throw new QueryError(begin, '“{0}” is no field.', name);
      this.at += name.length;
      if (test && this.text[this.at] === '=') throw new QueryError(this.at, 'Write {0}:file, with a colon.', name);
      isExact = this.text[this.at++] === '=';
    }
    const place = this.at;
    const value = this.parseValue();
    if (test) return this.resolveTest(test, value, place);
    if (value) return this.resolve({field, isExact, value}, place);
    const isQuoted = this.at > place;
    if (!name && !isQuoted)
      throw new QueryError(begin, this.text[this.at] === ',' ? 'Nothing is in front of the comma.' :
        'Nothing follows the comma; put texts with commas in quotation marks.');
    if (field && isExact) return {field, isAbsence: true};
    if (isQuoted) throw new QueryError(place, 'The text in quotation marks is empty.');
    throw new QueryError(place, 'Nothing follows the colon; “{0}=” finds items without the field.', name);
  }

  parseValue() {
    if (this.text[this.at] === '"') return this.parseQuoted();
    const begin = this.at;
    while (!this.isAtEnd() && this.text[this.at] !== ',') ++this.at;
    return this.text.slice(begin, this.at);
  }

  parseQuoted() {
    const found = /^"((?:[^"]|"")*)"(?!")/.exec(this.text.slice(this.at));
    if (!found) throw new QueryError(this.at, 'The closing quotation mark is missing.');
    this.at += found[0].length;
    if (!this.isAtEnd() && this.text[this.at] !== ',')
      throw new QueryError(this.at, 'A blank or a comma is missing behind the closing quotation mark.');
    return found[1].replaceAll('""', '"');
  }

  resolve(alternative, place) {
    const {field, value} = alternative;
    if (field?.name === 'status.name') {
      if (value === 'none') return {...alternative, isAbsence: true};
      const status = statusNamed(value);
      if (status < 0)
        throw new QueryError(place, '“{0}” is no status; there are {1}.', value,
          ['none', ...facts.statuses.map(typedName)].join(', '));
      return {...alternative, isExact: true, folded: fold(facts.statuses[status])};
    }
    if (field && field.kind !== 'text') return {...alternative, range: this.resolveRange(field.kind, value, place)};
    const folded = fold(value);
    if (!folded) throw new QueryError(place, 'There is nothing to search for but accents.');
    return {...alternative, folded};
  }

  resolveTest(test, value, place) {
    if (test === 'missing') throw new QueryError(place, 'A page cannot look for files.');
    const field = findField(value);
    if (!field) throw new QueryError(place, '“{0}” is no field.', value);
    return {field, test};
  }

  resolveRange(kind, value, place) {
    const sign = value.indexOf('..');
    const [from, to] = sign < 0 ? [value, value] : [value.slice(0, sign), value.slice(sign + 2)];
    if (!from && !to) throw new QueryError(place, 'A range needs at least one end.');
    const open = {first: -Infinity, last: Infinity, currency: ''};
    const [low, high] = [from, to].map((text) => text ? this.resolveEnd(kind, text, place) : open);
    if (low.first > high.last) throw new QueryError(place, '“{0}” is an empty range: it begins after its end.', value);
    if (low.currency && high.currency && low.currency !== high.currency)
      throw new QueryError(place, '“{0}” has two currencies.', value);
    return {low: low.first, high: high.last, currency: low.currency || high.currency};
  }

  resolveEnd(kind, text, place) {
    const message = {
      date: '“{0}” is no date; write YYYY-MM-DD, YYYY-MM, YYYY, today, yesterday, tomorrow, 7d, 2w, 3m, 1y, or -7d for the past.',
      price: '“{0}” is no price, such as 12.99 or $12.99.',
      number: '“{0}” is no number.',
    }[kind];
    const range = valueRange(kind, text);
    if (!range) throw new QueryError(place, message, text);
    return range;
  }
}

const matchesField = (item, alternative) => {
  const {field, isAbsence, isExact, test, folded, range} = alternative;
  if (field.name === 'status.name' && (isAbsence || test)) return Boolean(item.status) === !isAbsence;
  const found = textsOf(item, field);
  if (test) return found.length > 0;
  if (isAbsence) return found.length === 0;
  return found.some((text) => {
    if (!range) return isExact ? fold(text) === folded : fold(text).includes(folded);
    const value = itemValue(field.kind, text);
    return value && value.number >= range.low && value.number <= range.high &&
      (!range.currency || range.currency === value.currency);
  });
};

/** Whether an entry of the page matches the terms of a query. */
const matches = (entry, terms) => terms.every((term) => term.isNegated !== term.alternatives.some((alternative) =>
  alternative.field ? matchesField(entry.item, alternative) : entry.searched.includes(alternative.folded)));
