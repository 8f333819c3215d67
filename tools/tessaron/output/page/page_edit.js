'use strict';
// Editing, on a page that a server delivers: what the verbs do, for the open item and for the collection.
(() => {
  const page = window.tessaronPage;
  const {element, t, ask, facts, entries, byKey} = page;

  page.addTexts([
    ['Lend', 'Verleihen', 'Prêter', 'Prestar', '貸す'],
    ['Return', 'Zurück', 'Rendre', 'Devolver', '返却'],
    ['Edit', 'Bearbeiten', 'Modifier', 'Editar', '編集'],
    ['Remove', 'Entfernen', 'Retirer', 'Quitar', '削除'],
    ['Add an item', 'Eintrag hinzufügen', 'Ajouter un élément', 'Añadir un elemento', '追加'],
    ['Import a file', 'Datei importieren', 'Importer un fichier', 'Importar un archivo', '取り込む'],
    ['Undo', 'Rückgängig', 'Annuler', 'Deshacer', '元に戻す'],
    ['Redo', 'Wiederholen', 'Rétablir', 'Rehacer', 'やり直す'],
    ['Save', 'Speichern', 'Enregistrer', 'Guardar', '保存'],
    ['Cancel', 'Abbrechen', 'Annuler', 'Cancelar', '取消'],
    ['To whom', 'An wen', 'À qui', 'A quién', '相手'],
    ['Due on', 'Fällig am', 'À rendre le', 'Vence el', '期限'],
    ['Person', 'Person', 'Personne', 'Persona', '相手'],
    ['From', 'Ab', 'Dès le', 'Desde', '開始日'],
    ['Until', 'Bis', 'Jusqu’au', 'Hasta', '終了日'],
    ['Another field', 'Weiteres Feld', 'Autre champ', 'Otro campo', '他の項目'],
    ['one a line', 'eines je Zeile', 'un par ligne', 'uno por línea', '一行に一つ'],
    ['Saved.', 'Gespeichert.', 'Enregistré.', 'Guardado.', '保存しました。'],
    ['“{0}” was removed.', '„{0}“ wurde entfernt.', '« {0} » a été retiré.', '«{0}» se ha quitado.', '「{0}」を削除しました。'],
    ['“{0}” was added.', '„{0}“ wurde hinzugefügt.', '« {0} » a été ajouté.', '«{0}» se ha añadido.', '「{0}」を追加しました。'],
    ['Taken back: {0}', 'Zurückgenommen: {0}', 'Annulé : {0}', 'Deshecho: {0}', '取り消し: {0}'],
    ['{0}: {1} added, {2} changed', '{0}: {1} hinzugefügt, {2} geändert', '{0} : {1} ajoutés, {2} modifiés',
      '{0}: {1} añadidos, {2} cambiados', '{0}: {1} 件追加、{2} 件変更'],
    ['Someone has changed this item meanwhile. Nothing of yours is lost: what differs is marked below; save again to keep yours.',
      'Jemand hat diesen Eintrag inzwischen geändert. Von Ihrem ist nichts verloren: Was abweicht, ist unten markiert; speichern Sie noch einmal, um Ihres zu behalten.',
      'Quelqu’un a modifié cet élément entre-temps. Rien n’est perdu : les différences sont marquées ci-dessous ; enregistrez encore pour garder votre version.',
      'Alguien ha cambiado este elemento entretanto. No se pierde nada suyo: abajo se marca lo que difiere; guarde otra vez para conservar lo suyo.',
      '他の人がこの項目を変更しました。入力は失われていません。違いを下に示します。もう一度保存すると自分の内容になります。'],
    ['There now: {0}', 'Dort jetzt: {0}', 'Maintenant : {0}', 'Ahora allí: {0}', '現在の値: {0}'],
    ['Take this', 'Übernehmen', 'Prendre', 'Tomar', 'これにする'],
    ['nothing', 'nichts', 'rien', 'nada', 'なし'],
    ['This item was removed elsewhere.', 'Dieser Eintrag wurde anderswo entfernt.', 'Cet élément a été retiré ailleurs.',
      'Este elemento se ha quitado en otro lugar.', 'この項目は他で削除されました。'],
    ['Add it all the same', 'Trotzdem hinzufügen', 'Ajouter quand même', 'Añadir de todos modos', 'それでも追加'],
    ['Drop files to import them', 'Dateien zum Importieren ablegen', 'Déposez des fichiers à importer',
      'Suelte archivos para importarlos', 'ファイルを置くと取り込みます'],
    ['The server does not answer; trying again …', 'Der Server antwortet nicht; neuer Versuch …',
      'Le serveur ne répond pas ; nouvel essai …', 'El servidor no responde; reintentando …', 'サーバーが応答しません。再試行中…'],
  ]);

  // Messages, with an action or without.
  const toast = element('div', {class: 'toast', role: 'status', hidden: true});
  document.body.append(toast);
  let toastTimer;
  const say = (message, ...actions) => {
    clearTimeout(toastTimer);
    toast.replaceChildren(element('span', {}, message), ...actions);
    toast.hidden = false;
    (page.dialog.open ? page.dialog : document.body).append(toast);  // what is behind an open dialog cannot be reached
    if (actions.length === 0) toastTimer = setTimeout(() => { toast.hidden = true; }, 6000);
  };
  const button = (label, click, attributes) => element('button', {type: 'button', click, ...attributes}, t(label));
  /** Runs what a button does; a failure becomes a message. */
  const attempt = (action) => async (...values) => {
    try {
      await action(...values);
    } catch (error) {
      say(error.message);
    }
  };

  /** A refused edit of an item that others have changed meanwhile; `now` is the item as it is now. */
  class Conflict extends Error {
    constructor(now) {
      super(t('Someone has changed this item meanwhile. Nothing of yours is lost: what differs is marked below; save again to keep yours.'));
      this.now = now;
    }
  }

  const pathOf = (entry, verb) => `api/items/${encodeURIComponent(entry.key)}${verb ? `/${verb}` : ''}`;
  const asJson = (method, body) => ({method, headers: {'Content-Type': 'application/json'}, body: JSON.stringify(body)});

  /** Edits an item that nobody has changed since it was as `before`, and shows what became of it. */
  const edit = async (entry, before, method, verb, body) => {
    const options = body === undefined ? {method, headers: {}} : asJson(method, body);
    options.headers['If-Match'] = `"${before.version}"`;
    try {
      const item = await ask(pathOf(entry, verb), options);
      if (method !== 'DELETE') replace(entry, item);
    } catch (error) {
      if (error.status !== 412 || !error.body.item) throw error;
      replace(entry, error.body.item);
      throw new Conflict(error.body.item);
    }
    refreshSoon();
  };
  const replace = (entry, item) => {
    byKey.delete(entry.key);
    entry.replace(item);
    byKey.set(entry.key, entry);
    page.refresh();
  };

  // The fields of the form: those that most items have, then whatever this one has besides.
  const LISTS = ['authors', 'artists', 'directors', 'actors', 'translators', 'features', 'formats', 'languages', 'platforms'];
  const COMMON = ['Title', 'authors', 'artists', 'directors', 'ProductGroup', 'Binding', 'Publisher', 'ReleaseDate', 'ListPrice'];
  const LABELS = {Title: 'Title', ProductGroup: 'Group', ListPrice: 'List price', description: 'Description', features: 'Features'};
  const OTHERS = ['icon', 'copies', 'discs', 'customFields', 'reviewRatings', 'reviewSummaries', 'reviewContents', 'Notes', 'ASIN'];
  const editable = facts.fields.map(({name}) => name).filter((name) => /^[A-Za-z]+$/.test(name) &&
    !['due', 'people', 'year', ...OTHERS].includes(name));
  const labelOf = (name) => {
    const label = LABELS[name] ?? facts.fields.find((field) => field.name === name)?.label;
    return label ? t(label) : name;
  };
  const shownValue = (item, name) => {
    if (name.startsWith('status.')) return String(item.status?.[name.slice(7)] ?? '');
    if (name.startsWith('custom.')) return item.customFields?.find((slot) => slot.name === name.slice(7))?.value ?? '';
    const value = item[name] ?? '';
    return Array.isArray(value) ? value.join('\n') : String(value);
  };

  let lastId = 0;
  /** A labeled control, whose value is compared with the item's. */
  const control = (name, label, item) => {
    const id = `field-${++lastId}`;
    const value = shownValue(item, name);
    let input;
    if (name === 'status.name') {
      input = element('select', {id}, element('option', {value: ''}, t('No status')),
        facts.statuses.map((status) => element('option', {value: status}, t(status))));
    } else if (['Notes', 'description'].includes(name) || LISTS.includes(name)) {
      input = element('textarea', {id, rows: LISTS.includes(name) ? Math.max(1, value.split('\n').length) : 4});
    } else {
      input = element('input', {id, type: /^status\.(begin|end)$/.test(name) ? 'date' : 'text', autocomplete: 'off'});
    }
    input.value = value;
    const theirs = element('p', {class: 'theirs', hidden: true});
    const hint = LISTS.includes(name) ? ` (${t('one a line')})` : '';
    return {name, input, base: value, theirs,
      node: element('div', {class: 'field'}, element('label', {for: id, dir: 'auto'}, label + hint), input, theirs),
      get isChanged() {
        return this.input.value !== this.base;
      },
      /** Marks what has become of the value meanwhile. */
      rebase(now) {
        const current = shownValue(now, name);
        const isUntouched = !this.isChanged;
        if (isUntouched) this.input.value = current;
        const isOther = current !== this.base && !isUntouched && current !== this.input.value;
        this.base = current;
        theirs.hidden = !isOther;
        theirs.replaceChildren(...(isOther ? [t('There now: {0}', current || t('nothing')), ' ',
          button('Take this', () => {
            this.input.value = current;
            theirs.hidden = true;
          })] : []));
      }};
  };

  const listed = (name, value) => LISTS.includes(name) ? value.split('\n').map((line) => line.trim()).filter(Boolean) : value;
  /** The body of the request that makes the changes. */
  const changesIn = (controls) => {
    const body = {};
    const fields = {};
    const members = {'status.target': 'target', 'status.begin': 'from', 'status.end': 'until', Notes: 'notes'};
    for (const {name, input, isChanged} of controls) {
      if (!isChanged) continue;
      if (name === 'status.name' && !input.value) body.noStatus = true;
      else if (name === 'status.name') body.status = page.typedName(input.value);
      else if (members[name]) body[members[name]] = input.value;
      else fields[name] = listed(name, input.value);
    }
    if (body.noStatus) for (const name of ['target', 'from', 'until']) delete body[name];
    if (Object.keys(fields).length) body.fields = fields;
    return body;
  };

  /** A form in the place for editing. While it holds what was typed, nothing redraws the item. */
  const openForm = (place, rows, save, controls, entry) => {
    const problem = element('p', {class: 'error', role: 'alert'});
    let before = entry.item;
    const close = () => {
      delete place.dataset.open;
      page.showItem();
    };
    const form = element('form', {class: 'editing', submit: async (event) => {
      event.preventDefault();
      problem.textContent = '';
      form.inert = true;
      try {
        await save(before);
        delete place.dataset.open;
        page.showItem();
        say(t('Saved.'));
      } catch (error) {
        problem.textContent = error.message;
        if (!(error instanceof Conflict)) return;
        before = error.now;
        for (const each of controls) each.rebase(before);
      } finally {
        form.inert = false;
      }
    }}, problem, rows, element('div', {class: 'buttons'}, element('button', {type: 'submit'}, t('Save')), button('Cancel', close)));
    form.addEventListener('keydown', (event) => {
      if (event.key === 'Escape') {
        event.preventDefault();
        event.stopPropagation();
        close();
      }
    });
    place.dataset.open = entry.key;
    place.replaceChildren(form);
    form.querySelector('input, textarea, select')?.focus();
  };

  const fieldsForm = (entry, place) => {
    const {item} = entry;
    const own = editable.filter((name) => !COMMON.includes(name) && item[name] !== undefined);
    const customs = (item.customFields ?? []).filter(({name}) => name).map(({name}) => `custom.${name}`);
    const controls = [
      ...COMMON.map((name) => control(name, labelOf(name), item)),
      control('status.name', t('Status'), item), control('status.target', t('Person'), item),
      control('status.begin', t('From'), item), control('status.end', t('Until'), item),
      control('Notes', t('Notes'), item),
      ...own.map((name) => control(name, labelOf(name), item)),
      ...customs.map((name) => control(name, name.slice(7), item))];
    const rows = element('div', {class: 'fields'}, controls.map(({node}) => node));
    const more = element('select', {'aria-label': t('Another field'), change: () => {
      const added = control(more.value, labelOf(more.value), entry.item);
      controls.push(added);
      rows.append(added.node);
      more.querySelector(':checked').remove();
      more.value = '';
      added.input.focus();
    }}, element('option', {value: ''}, t('Another field')),
    editable.filter((name) => !controls.some((each) => each.name === name)).map((name) => element('option', {value: name}, labelOf(name))));
    openForm(place, [rows, more], async (before) => {
      const body = changesIn(controls);
      if (Object.keys(body).length) await edit(entry, before, 'PATCH', '', body);
    }, controls, entry);
  };

  const lendForm = (entry, place) => {
    const people = new Set(entries.flatMap(({item}) => [item.status?.target, ...(item.loans ?? []).map((loan) => loan.target)]).filter(Boolean));
    const to = control('to', t('To whom'), {});
    to.input.required = true;
    to.input.setAttribute('list', 'people');
    const due = control('status.end', t('Due on'), {});
    openForm(place, [element('div', {class: 'fields'}, to.node, due.node), element('datalist', {id: 'people'}, [...people].map((name) => element('option', {value: name})))],
      (before) => edit(entry, before, 'POST', 'lend', {to: to.input.value, ...(due.input.value && {due: due.input.value})}), [], entry);
  };

  const isOut = (item) => (item.status?.value ?? 9) <= 3 || (item.loans ?? []).some((loan) => !loan.returned);
  const remove = async (entry) => {
    await edit(entry, entry.item, 'DELETE', '');
    page.change({item: ''}, false);
    await reload();
    say(t('“{0}” was removed.', entry.title), button('Undo', attempt(() => takeBack('undo'))));
  };

  page.whenOpened = (entry, place) => {
    if (!place) return;
    place.replaceChildren(
      button('Lend', () => lendForm(entry, place)),
      ...(isOut(entry.item) ? [button('Return', attempt(async () => {
        await edit(entry, entry.item, 'POST', 'return', {});
        page.showItem();
        say(t('Saved.'));
      }))] : []),
      button('Edit', () => fieldsForm(entry, place)),
      button('Remove', attempt(() => remove(entry))));
  };

  // What concerns the collection as a whole.
  const takeBack = async (verb) => {
    const {takenBack} = await ask(`api/${verb}`, asJson('POST', {}));
    await reload();
    say(t('Taken back: {0}', takenBack));
  };
  const undo = button('Undo', attempt(() => takeBack('undo')), {id: 'undo'});
  const redo = button('Redo', attempt(() => takeBack('redo')), {id: 'redo'});

  const importFile = attempt(async (file) => {
    const counts = await ask(`api/import?name=${encodeURIComponent(file.name)}`,
      {method: 'POST', headers: {'Content-Type': 'application/octet-stream'}, body: file});
    await reload();
    say(t('{0}: {1} added, {2} changed', file.name, counts.added, counts.changed), button('Undo', attempt(() => takeBack('undo'))));
  });
  const chooser = element('input', {type: 'file', multiple: true, hidden: true, change: async () => {
    for (const file of chooser.files) await importFile(file);
    chooser.value = '';
  }});
  const drop = element('div', {class: 'drop', hidden: true}, t('Drop files to import them'));
  document.body.append(drop, chooser);
  const hasFiles = (event) => event.dataTransfer?.types.includes('Files');
  for (const kind of ['dragenter', 'dragover'])
    document.addEventListener(kind, (event) => {
      if (!hasFiles(event)) return;
      event.preventDefault();
      drop.hidden = false;
    });
  document.addEventListener('dragleave', (event) => { drop.hidden = event.relatedTarget === null || drop.hidden; });
  document.addEventListener('drop', async (event) => {
    drop.hidden = true;
    if (!hasFiles(event)) return;
    event.preventDefault();
    for (const file of [...event.dataTransfer.files]) await importFile(file);
  });

  const adding = element('dialog', {id: 'adding', 'aria-labelledby': 'adding-title'});
  document.body.append(adding);
  const openAdding = () => {
    const controls = ['Title', 'authors', 'artists', 'directors', 'ProductGroup', 'ISBN'].map((name) => control(name, labelOf(name), {}));
    controls[0].input.required = true;
    const problem = element('p', {class: 'error', role: 'alert'});
    const members = {Title: 'title', ProductGroup: 'group', ISBN: 'isbn'};
    const send = async (again) => {
      const body = again ? {again} : {};
      for (const {name, input} of controls) if (input.value.trim()) body[members[name] ?? name] = listed(name, input.value);
      try {
        const item = await ask('api/items', asJson('POST', body));
        adding.close();
        await reload();
        say(t('“{0}” was added.', item.Title ?? item.key));
      } catch (error) {
        problem.replaceChildren(error.message, ' ', error.body?.key ? button('Add it all the same', () => send(true)) : '');
      }
    };
    adding.replaceChildren(element('form', {class: 'editing', submit: (event) => {
      event.preventDefault();
      send(false);
    }}, element('h2', {id: 'adding-title'}, t('Add an item')), problem, element('div', {class: 'fields'}, controls.map(({node}) => node)),
    element('div', {class: 'buttons'}, element('button', {type: 'submit'}, t('Save')), button('Cancel', () => adding.close()))));
    adding.showModal();
  };
  document.getElementById('tools').append(element('section', {class: 'collection', 'aria-label': t('Edit')},
    button('Add an item', openAdding), button('Import a file', () => chooser.click()), undo, redo));

  const describe = async () => {
    const collection = await ask('api/collection');
    for (const [name, node] of [['undo', undo], ['redo', redo]]) {
      node.disabled = !collection[name];
      node.title = collection[name] ?? '';
    }
  };

  // What others have changed. Items that nobody has touched stay the same objects, so that nothing moves.
  let loading = null;
  let isStale = false;
  const readAll = async () => {
    for (;;) {
      const items = [];
      let version;
      for (let from = 0, total = 1; from < total;) {
        const part = await ask(`api/items?from=${from}&count=1000`);
        version ??= part.version;
        if (part.version !== version) break;  // it has changed between two parts
        total = part.total;
        items.push(...part.items);
        from += part.items.length;
        if (from >= total) return {items, version};
      }
    }
  };
  const merge = ({items, version}) => {
    page.version = version;
    const old = new Map(byKey);
    entries.length = 0;
    byKey.clear();
    for (const item of items) {
      const entry = old.get(item.key);
      if (!entry) {
        page.add([item]);
        continue;
      }
      if (entry.item.version !== item.version) entry.replace(item);
      entry.place = entries.length;
      entries.push(entry);
      byKey.set(entry.key, entry);
    }
  };
  const reload = () => {
    isStale = true;
    loading ??= (async () => {
      try {
        while (isStale) {
          isStale = false;
          await page.whenLoaded;
          merge(await readAll());
        }
      } finally {
        loading = null;
      }
      showMerged();
      await describe();
    })();
    return loading;
  };
  const showMerged = () => {
    page.refresh();
    const key = page.state.item;
    if (!key || !page.dialog.open || page.dialog.querySelector('.edit')?.dataset.open) return;
    if (!byKey.has(key)) {
      say(t('This item was removed elsewhere.'));
      page.change({item: ''}, false);
    } else if (page.dialog.dataset.version !== byKey.get(key).item.version) {
      page.showItem();
    }
  };
  let reloadTimer;
  const refreshSoon = () => {
    clearTimeout(reloadTimer);
    reloadTimer = setTimeout(attempt(reload), 150);
  };

  const listen = () => {
    const events = new EventSource('api/events');
    events.addEventListener('change', ({data}) => {
      if (JSON.parse(data).version !== page.version) refreshSoon();
    });
    let isLost = false;
    events.addEventListener('error', () => {
      isLost = true;
      say(t('The server does not answer; trying again …'));
      if (events.readyState === EventSource.CLOSED) setTimeout(listen, 3000);
    });
    events.addEventListener('open', () => {
      if (isLost) refreshSoon();
      isLost = false;
    });
  };
  describe().catch((error) => say(error.message));
  listen();
  if (page.dialog.open) page.showItem();
})();
