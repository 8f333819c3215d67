'use strict';
(() => {
  const STEP = 500;  // cards that are put on the page at a time
  const byId = (id) => document.getElementById(id);
  const [query, group, status, count, main, end] =
    ['query', 'group', 'status', 'count', 'items', 'end'].map(byId);

  const area = document.createElement('textarea');
  const decode = (text) => {
    if (!text.includes('&')) return text;
    area.innerHTML = text;  // takes character references for what they are, and all else as text
    return area.value;
  };

  // Case, accents, full-width forms and ligatures make no difference to a search.
  const LETTERS = {ß: 'ss', æ: 'ae', œ: 'oe', ø: 'o', đ: 'd', ð: 'd', þ: 'th', ł: 'l', ı: 'i', ς: 'σ'};
  const fold = (text) => text.normalize('NFKD').replace(/[\u0300-\u036f]/g, '').toLowerCase()
    .replace(/[ßæœøđðþłıς]/g, (letter) => LETTERS[letter]);

  const HEAD = /^<article class="card" data-id="[^"]*" data-group="([^"]*)" data-status="([^"]*)" data-due="([^"]*)"/;
  class Card {
    constructor(html, node) {
      this.html = html;
      this.made = node;
      [, this.group, this.status, this.due] = HEAD.exec(html).map(decode);
    }
    get node() {
      if (!this.made) {
        const template = document.createElement('template');
        template.innerHTML = this.html;
        this.made = template.content.firstElementChild;
      }
      return this.made;
    }
    // What is searched: all that the card says, but for its labels.
    get text() {
      this.folded ??= fold(decode(
        this.html.replace(/<(dt|h3|summary|a)\b.*?<\/\1>|<[^>]*>/gs, '\n')));
      return this.folded;
    }
  }

  // The first cards are on the page from the start. The others are kept as text until they are to be
  // seen: a hundred thousand of them would take the browser minutes, and all memory.
  const cards = [...main.children].map((node) => new Card(node.outerHTML, node));
  for (const block of document.querySelectorAll('.later')) {
    for (const html of block.textContent.split(/^(?=<article )/m)) if (html.trim()) cards.push(new Card(html));
    block.remove();
  }

  let shown = cards;
  const more = () => {
    const from = main.childElementCount;
    main.append(...shown.slice(from, from + STEP).map((card) => card.node));
    end.hidden = main.childElementCount === shown.length;
  };

  const apply = () => {
    const words = fold(query.value).split(/\s+/).filter(Boolean);
    shown = cards.filter((card) => (group.value === '*' || group.value.slice(1) === card.group) &&
      (status.value === '*' || [card.status, card.due].includes(status.value)) &&
      words.every((word) => card.text.includes(word)));
    main.replaceChildren();
    more();
    const all = `${cards.length} ${cards.length === 1 ? 'item' : 'items'}`;
    count.value = shown.length === cards.length ? all : `${shown.length} of ${all}`;
    byId('none').hidden = shown.length > 0 || cards.length === 0;
  };

  let timer;
  query.addEventListener('input', () => {
    clearTimeout(timer);
    timer = setTimeout(apply, cards.length > STEP ? 150 : 0);
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

  // Paper does not scroll: all that is shown is printed, and what was added for that goes again.
  let onPage;
  addEventListener('beforeprint', () => {
    onPage = main.childElementCount;
    while (main.childElementCount < shown.length) more();
  });
  addEventListener('afterprint', () => {
    while (main.childElementCount > onPage) main.lastElementChild.remove();
    end.hidden = main.childElementCount === shown.length;
  });

  // Long collections get ready for the first search while nobody waits.
  let next = 0;
  const prepare = (deadline) => {
    while (next < cards.length && deadline.timeRemaining() > 1) void cards[next++].text;
    if (next < cards.length) requestIdleCallback(prepare);
  };
  if (window.requestIdleCallback) requestIdleCallback(prepare);

  byId('tools').hidden = false;
  apply();
  new IntersectionObserver(([entry]) => entry.isIntersecting && more(), {rootMargin: '2000px'}).observe(end);
})();
