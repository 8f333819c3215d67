// The list of items that match. Its parts are on the page only while they are near the window, so that
// ten thousand cards cost no more than a hundred.

const PART = 60;  // items; whole rows of cards in one to six columns
class WindowedList {
  constructor(root) {
    this.root = root;
    this.entries = [];
    this.parts = [];
    this.height = {};  // of an item, by view, in pixels, as far as is known
    this.observer = new IntersectionObserver((changes) => {
      for (const change of changes) this.setFilled(this.parts[change.target.dataset.part], change.isIntersecting);
    }, {rootMargin: '1500px'});
  }

  /** Shows these entries; `isSame` keeps the reader's place. */
  show(entries, view, isSame) {
    const top = scrollY;
    this.entries = entries;
    this.view = view;
    this.observer.disconnect();
    const holders = [];
    for (let from = 0; from < entries.length; from += PART) {
      const node = element(view === 'table' ? 'tbody' : 'div', {class: view === 'table' ? null : 'cards', 'data-part': holders.length});
      holders.push({node, from, isFilled: false});
    }
    this.parts = holders;
    const nodes = holders.map((part) => part.node);
    this.root.replaceChildren(...(view === 'table' && entries.length ? [this.tableOf(nodes)] : nodes));
    const perItem = this.height[view] ?? 100;
    for (const part of holders) {
      const near = isSame ? Math.abs(part.from * perItem - top) < PART * perItem + innerHeight : part.from === 0;
      near ? this.fill(part) : this.empty(part, this.sizeOf(part) * perItem);
      this.observer.observe(part.node);
    }
    if (isSame) scrollTo(scrollX, top);
  }

  tableOf(bodies) {
    const [by, isReversed] = [state.sort.replace('-', ''), state.sort.startsWith('-')];
    const headings = COLUMNS.map(([label, name, order]) => element('th', {
      class: name, scope: 'col', 'aria-sort': order && order === by ? (isReversed ? 'descending' : 'ascending') : null,
    }, order ? element('button', {type: 'button', click: () => change({sort: order === by && !isReversed ? `-${order}` : order})}, t(label)) : t(label)));
    return element('table', {'aria-rowcount': this.entries.length + 1, 'aria-label': facts.title},
      element('thead', {}, element('tr', {'aria-rowindex': 1}, headings)), bodies);
  }

  sizeOf(part) {
    return Math.min(PART, this.entries.length - part.from);
  }

  fill(part) {
    if (part.isFilled) return;
    part.isFilled = true;
    part.node.style.height = '';
    const make = this.view === 'table' ? rowOf : cardOf;
    part.node.replaceChildren(...this.entries.slice(part.from, part.from + PART).map((entry, i) => make(entry, part.from + i)));
    if (part.from === 0) this.height[this.view] = part.node.offsetHeight / this.sizeOf(part);
  }

  empty(part, height) {
    part.isFilled = false;
    if (this.view === 'table') {
      const cell = element('td', {colspan: COLUMNS.length});
      cell.style.height = `${height}px`;
      part.node.replaceChildren(element('tr', {class: 'space', 'aria-hidden': 'true'}, cell));
    } else {
      part.node.replaceChildren();
      part.node.style.height = `${height}px`;
    }
  }

  setFilled(part, isNear) {
    if (!part || isPrinting) return;
    if (isNear) this.fill(part);
    else if (part.isFilled && !part.node.contains(document.activeElement)) this.empty(part, part.node.offsetHeight);
  }

  fillAll() {
    for (const part of this.parts) this.fill(part);
  }

  /** Puts the focus on the link of an entry, by its place in the list. */
  focus(place, scroll = 'nearest') {
    const part = this.parts[Math.floor(place / PART)];
    if (!part) return;
    this.fill(part);
    const link = part.node.querySelectorAll('.open')[place - part.from];
    link.focus({preventScroll: true});
    link.closest('.card, tr').scrollIntoView({block: scroll});
  }

  /** The place of the entry that has the focus; -1 when none has. */
  focused() {
    const holder = document.activeElement?.closest('[data-part]');
    if (!holder) return -1;
    const part = this.parts[holder.dataset.part];
    return part.from + [...holder.children].indexOf(document.activeElement.closest('.card, tr'));
  }

  /** How many cards are side by side. */
  columns() {
    if (this.view === 'table') return 1;
    const cards = [...this.parts[0]?.node.children ?? []];
    const next = cards.findIndex((card) => card.offsetTop > cards[0].offsetTop);
    return next < 0 ? Math.max(1, cards.length) : next;
  }

  /** Draws an entry again where it is shown. */
  redraw(entry) {
    const place = this.entries.indexOf(entry);
    const part = this.parts[Math.floor(place / PART)];
    if (place < 0 || !part?.isFilled) return;
    const old = part.node.children[place - part.from];
    const hasFocus = old.contains(document.activeElement);
    old.replaceWith(this.view === 'table' ? rowOf(entry, place) : cardOf(entry));
    if (hasFocus) this.focus(place);
  }
}
