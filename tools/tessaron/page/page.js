'use strict';
(() => {
  const byId = (id) => document.getElementById(id);
  const [query, group, status, count] = ['query', 'group', 'status', 'count'].map(byId);
  const cards = [...document.querySelectorAll('.card')];
  const texts = new Array(cards.length);

  // Case, accents, full-width forms and ligatures make no difference to a search.
  const LETTERS = {ß: 'ss', æ: 'ae', œ: 'oe', ø: 'o', đ: 'd', ð: 'd', þ: 'th', ł: 'l', ı: 'i', ς: 'σ'};
  const fold = (text) => text.normalize('NFKD').replace(/[\u0300-\u036f]/g, '').toLowerCase()
    .replace(/[ßæœøđðþłıς]/g, (letter) => LETTERS[letter]);

  const textOf = (i) => texts[i] ??= fold(
    [cards[i].dataset.id, ...Array.from(cards[i].querySelectorAll('h2, p, dd, li'),
      (element) => element.textContent)].join('\n'));

  const fits = (i, words) => {
    const {group: itsGroup, status: itsStatus, due} = cards[i].dataset;
    return (group.value === '*' || group.value.slice(1) === itsGroup) &&
      (status.value === '*' || status.value === (itsStatus ?? 'none') ||
        (status.value === 'due' && due !== undefined)) &&
      words.every((word) => textOf(i).includes(word));
  };

  // All reading comes before all writing, so that the page is laid out once.
  const apply = () => {
    const words = fold(query.value).split(/\s+/).filter(Boolean);
    const turned = [];
    let shown = 0;
    cards.forEach((card, i) => {
      const fit = fits(i, words);
      if (fit) ++shown;
      if (card.hidden === fit) turned.push(card);
    });
    for (const card of turned) card.hidden = !card.hidden;
    const all = `${cards.length} ${cards.length === 1 ? 'item' : 'items'}`;
    count.value = shown === cards.length ? all : `${shown} of ${all}`;
    byId('none').hidden = shown > 0 || cards.length === 0;
  };

  let timer;
  query.addEventListener('input', () => {
    clearTimeout(timer);
    timer = setTimeout(apply, cards.length > 2000 ? 150 : 0);
  });
  group.addEventListener('change', apply);
  status.addEventListener('change', apply);
  const clear = () => {
    query.value = '';
    group.value = status.value = '*';
    apply();
    query.focus();
  };
  byId('clear').addEventListener('click', clear);
  byId('tools').addEventListener('submit', (event) => event.preventDefault());
  document.addEventListener('keydown', (event) => {
    if (event.key === 'Escape' && event.target === query) clear();
    if (event.key !== '/' || event.ctrlKey || event.metaKey || event.altKey) return;
    if (event.target.matches('input, select')) return;
    event.preventDefault();
    query.focus();
  });

  // A picture hides the drawn cover once it is there; a missing one (shops send a single pixel for
  // it) leaves it alone. The events do not bubble, hence the capture.
  const settle = (image) => {
    if (image.naturalWidth > 1) image.parentElement.classList.add('loaded');
    else image.remove();
  };
  for (const kind of ['load', 'error'])
    document.addEventListener(kind, ({target}) => target.matches?.('.cover img') && settle(target), true);
  for (const image of document.querySelectorAll('.cover img')) if (image.naturalWidth) settle(image);

  // Long collections get ready for the first search while nobody waits.
  let next = 0;
  const prepare = (deadline) => {
    while (next < cards.length && deadline.timeRemaining() > 1) textOf(next++);
    if (next < cards.length) requestIdleCallback(prepare);
  };
  if (window.requestIdleCallback) requestIdleCallback(prepare);

  byId('tools').hidden = false;
  apply();
})();
