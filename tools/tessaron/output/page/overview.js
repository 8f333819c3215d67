// Counts of the items that match, by the properties of "tessaron stats".

const PROPERTIES = [
  ['Group', 'group', (item) => [item.ProductGroup]],
  ['Status', 'status', (item) => [item.status?.name || t('No status')]],
  ['Year', 'year', (item) => [yearOf(item)]],
  ['Author', 'author', (item) => item.authors ?? []],
  ['Artist', 'artist', (item) => item.artists ?? []],
  ['Publisher', 'publisher', (item) => [item.Publisher]],
  ['Studio', 'studio', (item) => [item.Studio]],
  ['Binding', 'binding', (item) => [item.Binding]],
  ['Language', 'language', (item) => (item.languages ?? []).map((name) => name.replace(/ \([^(]*\)$/, ''))],
];
const SHARES = 11;  // what comes after them is one share

const sharesOf = (entries, namesOf) => {
  const counts = new Map();
  let nameless = 0;
  for (const {item} of entries) {
    const names = new Set(namesOf(item).filter(Boolean));
    if (names.size === 0) ++nameless;
    for (const name of names) counts.set(name, (counts.get(name) ?? 0) + 1);
  }
  return {nameless, shares: [...counts].sort((a, b) => b[1] - a[1] || a[0].localeCompare(b[0], language))};
};

const queryFor = (field, name) => {
  if (field === 'status') return name === t('No status') ? 'status:none' : `status:${typedName(name)}`;
  return field === 'language' ? `language:"${name.replaceAll('"', '""')}"` : `${field}=${field === 'year' ? name : `"${name.replaceAll('"', '""')}"`}`;
};

/** A row of a chart; with a name, its label leads to the items that it counts. */
const barOf = (label, count, most, field, name) => {
  const bar = element('span', {class: 'bar', 'aria-hidden': 'true'});
  bar.style.width = `${100 * Math.min(1, count / most)}%`;
  const caption = field === 'status' ? t(label) : label;
  const link = name && element('a', {dir: 'auto', href: addressOf({...state, view: 'cards', item: '',
    query: [state.query, queryFor(field, name)].filter(Boolean).join(' ')})}, caption);
  return element('tr', {}, element('th', {scope: 'row'}, link || caption), element('td', {}, bar), element('td', {class: 'count'}, count.toLocaleString(language)));
};

const chartOf = (entries, [label, field, namesOf]) => {
  const {nameless, shares} = sharesOf(entries, namesOf);
  if (shares.length === 0) return null;
  const most = shares[0][1];
  const rows = shares.slice(0, SHARES).map(([name, count]) => barOf(name, count, most, field, name));
  const rest = shares.slice(SHARES).reduce((sum, [, count]) => sum + count, 0);
  if (rest) rows.push(barOf(t('All others'), rest, most));
  return element('section', {class: 'chart'}, element('h2', {}, t(label)), element('table', {'aria-label': t(label)}, element('tbody', {}, rows)),
    nameless > 0 && element('p', {class: 'kind'}, t('{0} without', nameless.toLocaleString(language))));
};

/** The sums of list prices, by currency, the most frequent one first. */
const sumsOf = (entries) => {
  const sums = new Map();
  for (const {item} of entries) {
    const price = item.ListPrice && parsePrice(item.ListPrice);
    if (!price) continue;
    const sum = sums.get(price.currency) ?? {count: 0, amount: 0};
    sums.set(price.currency, {count: sum.count + 1, amount: sum.amount + price.amount});
  }
  return [...sums].sort((a, b) => b[1].count - a[1].count)
    .map(([currency, {amount}]) => `${currency} ${amount.toLocaleString(language, {maximumFractionDigits: 2})}`);
};

const overviewOf = (entries) => {
  const due = entries.filter(({item}) => dueState(item)).length;
  const sums = sumsOf(entries);
  return element('div', {class: 'overview'},
    element('p', {class: 'sums'}, [counted(entries.length), due > 0 && t('{0} due', due),
      sums.length > 0 && `${t('Sum of list prices')}: ${sums.join(' + ')}`].filter(Boolean).join(' · ')),
    PROPERTIES.map((property) => chartOf(entries, property)));
};
