// The report as a page to decide in. It stands in one file with what it works on and asks nobody for anything.
//
// Rows are made when they come into view and go when they are far from it: what the page costs depends on what is seen
// of it, and not on what was found. Without scripts, or should this one fail, the page shows the lists of its noscript
// element.
'use strict';
function start(report) {
    const {KEEP, MOVE, LEAVE, DECISIONS, DUPLICATES, RESEMBLING, FOUND_NAMES, ANY, ORDERS, data, groups, filter, state,
           kept, place, titleOf, sourceText, decide, treat, valuesOf, differs, cellText, lossesOf, conflictsOf, offersOf, chosenOf, originText,
           choose, passes, totals, decisions, load} = report;
    const GROUPS_A_CHUNK = 25;
    const FOLD_FROM = 160;  // characters of a value
    const list = document.getElementById('list');
    let shown = groups;

    // ---- the elements of the page

    function make(tag, properties = {}, ...children) {
        const element = document.createElement(tag);
        for (const [name, value] of Object.entries(properties)) {
            if (typeof value === 'function') element.addEventListener(name, value);
            else if (value === true) element.setAttribute(name, '');
            else if (value !== false && value !== undefined) element.setAttribute(name, value);
        }
        element.append(...children.filter((child) => child !== undefined && child !== ''));
        return element;
    }

    const count = (n, one, many) => `${n.toLocaleString('en')} ${n === 1 ? one : many}`;

    function sizeText(bytes) {
        if (bytes < 1024) return count(bytes, 'byte', 'bytes');
        let amount = bytes / 1024, unit = 0;
        for (; amount >= 1024 && unit < 3; ++unit) amount /= 1024;
        return `${amount < 10 ? amount.toFixed(1) : amount.toFixed(0)} ${['KB', 'MB', 'GB', 'TB'][unit]}`;
    }

    function cell(text) {
        if (text.length < FOLD_FROM) return make('td', {}, text);
        return make('td', {}, make('details', {}, make('summary', {}, text.slice(0, FOLD_FROM / 2).replace(/\s+/g, ' ') + '…'), text));
    }

    function table(group) {
        const rows = valuesOf(group).r;
        if (!rows) return make('p', {class: 'soft'}, 'The values cannot be read.');
        const columns = Math.max(0, ...rows.map((row) => row.length - 2));
        const items = group.items.slice(0, columns);
        const head = items.map((item) => make('th', {scope: 'col'}, make('span', {class: `role ${DECISIONS[item.decision]}`},
            group.isActive ? DECISIONS[item.decision] : ''), `${group.items.indexOf(item) + 1} `, place(item)));
        // Where the report says it: when the copy that it proposed is the one that stays.
        const hasOrigin = kept(group) === 0;
        if (hasOrigin) head.push(make('th', {scope: 'col'}, 'Merged: from'));
        const body = rows.map((row) => make('tr', {class: differs(row) ? 'differs' : false},
            make('th', {scope: 'row'}, data.texts[row[0]], differs(row) ? make('span', {class: 'soft'}, ' (differs)') : ''),
            ...items.map((item, i) => cell(cellText(row, i))), hasOrigin ? make('td', {}, originText(group, row)) : ''));
        const more = group.items.length - columns;
        return make('div', {class: 'values'}, make('table', {}, make('thead', {}, make('tr', {}, make('th', {scope: 'col'}, 'Property'), ...head)),
            make('tbody', {}, ...body)), more > 0 ? make('p', {class: 'soft'}, `The values of ${count(more, 'further copy', 'further copies')} are not in the report.`) : '');
    }

    function lossList(group, index) {
        const losses = lossesOf(group, index);
        if (losses.length === 0 || !group.isActive) return '';
        const goes = group.items[index].decision === MOVE;
        const said = goes && !data.policy.allowLoss ? 'Holds what the kept copy lacks; clean moves it only with --allow-loss, or --merge:'
            : goes ? 'Goes with what the kept copy lacks:' : 'Stays, and holds what the kept copy lacks. On “move”, --merge brings it there, and asks where both have a value:';
        return make('div', {class: 'losses'}, said, make('ul', {}, ...losses.map(([property, value, own, merging]) =>
            make('li', {}, `${property}: `, make('b', {}, value), own ? `; the kept copy has ${own}` : '; the kept copy has none', merging ? `; ${merging}` : ''))));
    }

    function itemRow(group, index) {
        const item = group.items[index];
        const name = `g${group.index}i${index}`;
        const choices = DECISIONS.map((decision, value) => make('label', {class: decision},
            make('input', {type: 'radio', name, id: `${name}${decision}`, checked: item.decision === value,
                           disabled: !group.isActive || (value === MOVE && item.isProtected),
                           change: () => act(group, () => decide(group, index, value), `${name}${decision}`)}), make('span', {}, decision)));
        const from = sourceText(item);
        return make('li', {class: group.isActive ? DECISIONS[item.decision] : 'leave'},
            make('fieldset', {class: 'switch'}, make('legend', {class: 'unseen'}, `Copy ${index + 1}, ${place(item)}`), ...choices),
            make('div', {class: 'where'}, place(item), ' ', make('span', {class: 'soft'}, sizeText(item.size),
                item.isProtected ? ', in a protected folder' : '', index > 0 && item.title !== group.items[0].title ? ` · ${titleOf(item)}` : ''),
                from ? make('div', {class: 'soft source'}, from) : '', lossList(group, index)));
    }

    // Of a property with two values: which of them stays when the copies are merged.
    function choiceRow(group, conflict, number) {
        const offers = offersOf(group, conflict);
        if (offers.length === 0) return '';
        const chosen = chosenOf(group, conflict);
        const name = `g${group.index}c${number}`;
        const option = (copy, ...said) => {
            const id = `${name}v${copy ?? ''}`;
            return make('label', {}, make('input', {type: 'radio', name, id, checked: chosen === copy,
                change: () => act(group, () => choose(group, conflict, copy), id)}), make('span', {}, ...said));
        };
        return make('fieldset', {class: 'choice'}, make('legend', {}, `Merging: which ${conflict.name} stays?`),
            option(undefined, make('span', {class: 'soft'}, 'not chosen: the kept copy\'s, and the copies with another one are not moved')),
            ...offers.map(([copy, value]) => option(copy, value || 'nothing', make('span', {class: 'soft'},
                ` ${place(group.items[copy])}${group.items[copy].decision === KEEP ? ', kept' : ''}`))));
    }

    function copyButton(text) {
        const button = make('button', {type: 'button', click: async () => {
            try {
                await navigator.clipboard.writeText(text);
                say('Copied.');
            } catch {
                const range = document.createRange();
                range.selectNodeContents(button.previousElementSibling);
                getSelection().removeAllRanges();
                getSelection().addRange(range);
                say('Selected: copy it with your keyboard.');
            }
        }}, 'Copy');
        return button;
    }

    // Why the items are together, and for what are no duplicates: what makes them some.
    function whyRow(group) {
        if (group.found === DUPLICATES) {
            return make('p', {class: 'soft'}, kept(group) === 0 ? `Kept: ${data.texts[group.why]}.` : 'Kept: as you decided.');
        }
        const why = data.texts[group.why];
        const button = make('button', {type: 'button', id: `g${group.index}treat`, 'aria-pressed': String(group.isActive),
            click: () => act(group, () => treat(group, !group.isActive), `g${group.index}treat`)},
            group.isActive ? 'Treated as duplicates: take back' : 'Treat as duplicates');
        if (group.found === RESEMBLING) {
            return make('div', {class: 'apart'}, make('p', {}, 'They resemble one another by ', make('b', {}, why), '.'), button);
        }
        const [line, also] = data.apart[group.apart];
        return make('div', {class: 'apart'}, make('p', {}, 'They differ in ', make('b', {}, why), ' alone.'), button,
            make('details', {}, make('summary', {}, `All pairs that differ only in ${why}`),
                make('p', {}, `are duplicates for a scan with --definitions FILE, where FILE is what quorvel scan --show-definitions --kind ${group.kind} prints, with this line for the one it has${also ? ', ' + also : ''}:`),
                make('p', {}, make('code', {}, line), ' ', copyButton(line))));
    }

    function card(group) {
        const item = group.items[0];
        const about = [group.who, item.when].filter(Boolean).join(' · ');
        const values = make('details', {class: 'fold', open: group.isOpen, toggle: (event) => {
            group.isOpen = event.target.open;
            if (group.isOpen && event.target.childElementCount === 1) event.target.append(table(group));
        }}, make('summary', {}, 'Values side by side'));
        return make('article', {class: 'card', id: `g${group.index}`, tabindex: '-1', 'aria-label': titleOf(item)},
            make('h3', {}, titleOf(item), about ? make('span', {class: 'about'}, ` · ${about}`) : ''),
            make('p', {class: 'soft'}, `${group.kind}, ${FOUND_NAMES[group.found]}, ${group.found === DUPLICATES ? count(group.items.length, 'copy', 'copies') : count(group.items.length, 'item', 'items')}`),
            whyRow(group), make('ul', {class: 'items'}, ...group.items.map((one, i) => itemRow(group, i))),
            ...conflictsOf(group).map((conflict, i) => choiceRow(group, conflict, i)), values);
    }

    // ---- rows that come and go

    let chunks = [];
    const watcher = new IntersectionObserver((entries) => {
        for (const entry of entries) {
            if (entry.isIntersecting) fill(entry.target);
            else if (!isPrinting) empty(entry.target);
        }
    }, {rootMargin: '800px 0px'});
    let isPrinting = false;

    function fill(chunk) {
        if (chunk.childElementCount > 0) return;
        const start = chunks.indexOf(chunk) * GROUPS_A_CHUNK;
        chunk.append(...shown.slice(start, start + GROUPS_A_CHUNK).map(card));
        chunk.style.height = '';
    }

    function empty(chunk) {
        if (chunk.childElementCount === 0 || chunk.contains(document.activeElement)) return;
        chunk.style.height = `${chunk.offsetHeight}px`;
        chunk.replaceChildren();
    }

    function show() {
        shown = groups.filter(passes);
        if (filter.sort !== 'report') shown.sort(ORDERS[filter.sort][1]);
        watcher.disconnect();
        chunks = [];
        for (let at = 0; at < shown.length; at += GROUPS_A_CHUNK) {
            const chunk = make('div', {class: 'chunk'});
            chunk.style.height = `${Math.min(GROUPS_A_CHUNK, shown.length - at) * 190}px`;
            chunks.push(chunk);
        }
        list.replaceChildren(...(chunks.length ? chunks : [make('p', {}, groups.length ? 'No group is as the filter says.' : 'No duplicates.')]));
        if (chunks.length) fill(chunks[0]);
        chunks.forEach((chunk) => watcher.observe(chunk));
        found.textContent = shown.length === groups.length ? count(groups.length, 'group', 'groups')
            : `${shown.length.toLocaleString('en')} of ${count(groups.length, 'group', 'groups')}`;
    }

    function redraw(group) {
        document.getElementById(`g${group.index}`)?.replaceWith(card(group));
    }

    // A decision: done, shown, and what prevents it said.
    function act(group, decision, focus) {
        const refused = decision();
        redraw(group);
        document.getElementById(focus ?? `g${group.index}`)?.focus();
        summarise();
        if (refused) say(refused);
    }

    // ---- what would be done

    function summarise() {
        const sum = totals();
        summary.textContent = `${count(sum.moved, 'item', 'items')} of ${count(sum.groups, 'group', 'groups')} would be moved (${sizeText(sum.bytes)})` +
            `, ${sum.left.toLocaleString('en')} left where ${sum.left === 1 ? 'it is' : 'they are'}.` +
            (sum.lossy ? ` ${count(sum.lossy, 'moves', 'move')} only with --allow-loss, or --merge.` : '') +
            (sum.conflicts ? ` ${count(sum.conflicts, 'conflict', 'conflicts')} of merging, ${sum.chosen.toLocaleString('en')} chosen.` : '');
    }

    const say = (text) => { status.textContent = text; };

    // ---- saving

    function save() {
        const url = URL.createObjectURL(new Blob([decisions()], {type: 'application/json'}));
        make('a', {href: url, download: 'decisions.json'}).click();
        setTimeout(() => URL.revokeObjectURL(url), 60000);
        state.isSaved = true;
        say(`Saved as decisions.json. See what it comes to with: quorvel clean --from decisions.json${totals().chosen ? ' --merge=ask' : ''}`);
    }

    async function open(file) {
        if (!file || (!state.isSaved && !confirm('Decisions that are not saved would be gone. Load the file all the same?'))) return;
        const refused = load(await file.text());
        show();
        summarise();
        say(refused || `Loaded ${file.name}.`);
    }

    // ---- controls

    function choice(label, name, options) {
        const select = make('select', {id: `filter-${name}`, change: () => {
            filter[name] = select.value;
            show();
        }}, ...options.map(([value, text]) => make('option', {value}, text)));
        return make('label', {}, label, select);
    }

    const distinct = (values) => [...new Set(values)];
    const byName = (a, b) => a[1] < b[1] ? -1 : a[1] > b[1] ? 1 : 0;
    const inUse = distinct(groups.flatMap((group) => group.items.map((item) => item.folder)));
    const folders = inUse.map((folder) => [folder, data.folders[folder][0]]).sort(byName);
    const texts = (numbers) => distinct(numbers).map((number) => [number, data.texts[number]]).sort(byName);

    let waiting = 0;
    const search = make('input', {type: 'search', id: 'filter-text', placeholder: 'subject, name, folder, value', input: () => {
        clearTimeout(waiting);
        waiting = setTimeout(() => {
            filter.text = search.value.trim().toLowerCase();
            show();
        }, 120);
    }});
    const found = make('span', {id: 'found', role: 'status'});
    const summary = make('span', {id: 'summary'});
    const status = make('div', {id: 'status', role: 'status'});
    const ruleFolder = make('select', {id: 'rule-folder'}, ...folders.map(([value, text]) => make('option', {value}, text)));

    // A decision on all that stand in one folder, in the groups that are shown.
    function applyRule(decision) {
        let changed = 0, refused = 0;
        for (const group of shown) {
            if (!group.isActive) continue;
            for (let i = 0; i < group.items.length; ++i) {
                const item = group.items[i];
                if (item.folder !== Number(ruleFolder.value) || item.decision === decision) continue;
                // Of a group that lies wholly in the folder, one copy is kept already.
                if (decision !== LEAVE && group.items.every((one) => one.folder === item.folder)) continue;
                if (decision === LEAVE && item.decision === KEEP) continue;
                if (decision === KEEP && group.items[kept(group)].folder === item.folder) continue;
                if (decide(group, i, decision)) ++refused;
                else ++changed;
            }
        }
        chunks.filter((chunk) => chunk.childElementCount > 0).forEach((chunk) => {
            chunk.replaceChildren();
            fill(chunk);
        });
        summarise();
        say(`${count(changed, 'item', 'items')} changed${refused ? `, ${refused} could not be` : ''}.`);
    }

    const KEYS = [
        ['j, k', 'next and previous group'], ['1 … 9', 'keep that copy of the group'], ['m', 'move the other copies'],
        ['l', 'leave the other copies where they are'], ['d', 'treat as duplicates, or take that back'], ['c', 'the next choice of merging'], ['v', 'values side by side'],
        ['/', 'filter by text'], ['r', 'all in a folder'], ['s', 'save decisions'], ['o', 'load decisions that were saved'], ['?', 'this list'],
    ];
    const help = make('details', {id: 'help'}, make('summary', {}, 'Keys'), make('dl', {}, ...KEYS.flatMap(([key, does]) =>
        [make('dt', {}, ...key.split(', ').flatMap((one, i) => i ? [', ', make('kbd', {}, one)] : [make('kbd', {}, one)])), make('dd', {}, does)])),
        make('p', {}, 'Tab goes through everything; the arrow keys turn a switch.'));
    const controls = make('section', {id: 'controls', 'aria-label': 'Filter and decide'},
        make('div', {class: 'row'}, make('label', {class: 'wide'}, 'Text', search),
            choice('Kind', 'kind', [[ANY, 'all'], ...distinct(groups.map((group) => group.kind)).map((kind) => [kind, kind])]),
            choice('Found as', 'found', [[ANY, 'all'], ...FOUND_NAMES.map((name, i) => [i, name]).filter(([i]) => groups.some((group) => group.found === i))]),
            choice('Folder', 'folder', [[ANY, 'all'], ...folders]),
            choice('Reason', 'why', [[ANY, 'all'], ...texts(groups.map((group) => group.why))]),
            choice('Only the duplicate has', 'loss', [[ANY, 'does not matter'], ['any', 'anything'], ['conflict', 'another value: a conflict'],
                ...texts(groups.flatMap((group) => group.items.flatMap((item) => item.losses)))]),
            choice('Order', 'sort', Object.entries(ORDERS).map(([value, [text]]) => [value, text]))),
        make('div', {class: 'row'}, make('label', {class: 'wide'}, 'All in folder', ruleFolder),
            make('span', {class: 'buttons'}, ...DECISIONS.map((name, value) => make('button', {type: 'button', id: `rule-${name}`, click: () => applyRule(value)}, name)),
                make('span', {class: 'soft'}, 'in groups shown'))),
        help);
    const opener = make('input', {type: 'file', id: 'load', accept: '.json,application/json', change: () => {
        const [file] = opener.files;
        open(file).catch((error) => say(`The file cannot be read: ${error.message}`)).finally(() => { opener.value = ''; });
    }});
    const bar = make('section', {id: 'bar', 'aria-label': 'What would be done'}, make('div', {}, found, ' shown. ', summary, ' ', status),
        make('label', {class: 'button'}, opener, make('span', {}, 'Load decisions')),
        make('button', {type: 'button', id: 'save', class: 'main', click: save}, 'Save decisions'));

    // ---- keys

    let current = -1;
    function step(by) {
        const at = document.activeElement?.closest?.('.card');
        if (at) current = shown.indexOf(groups[Number(at.id.slice(1))]);
        current = Math.max(0, Math.min(shown.length - 1, current + by));
        if (!shown[current]) return;
        fill(chunks[Math.floor(current / GROUPS_A_CHUNK)]);
        const element = document.getElementById(`g${shown[current].index}`);
        element.focus({preventScroll: true});
        element.scrollIntoView({block: 'center'});
    }

    function ofCurrent(decision) {
        const at = document.activeElement?.closest?.('.card');
        if (at) decision(groups[Number(at.id.slice(1))]);
    }

    function others(group, decision) {
        return group.items.map((item, i) => item.decision === KEEP ? '' : decide(group, i, decision)).find(Boolean) ?? '';
    }

    function nextChoice(element) {
        const choices = [...element.querySelectorAll('.choice')];
        const next = choices[(choices.indexOf(document.activeElement.closest('.choice')) + 1) % choices.length];
        next?.querySelector('input:checked').focus();
    }

    const ACTS = {
        j: () => step(1), k: () => step(-1), '/': () => search.focus(), s: save, o: () => opener.click(), r: () => ruleFolder.focus(),
        '?': () => { help.open = !help.open; help.firstChild.focus(); },
        m: () => ofCurrent((group) => group.isActive && act(group, () => others(group, MOVE))),
        l: () => ofCurrent((group) => group.isActive && act(group, () => others(group, LEAVE))),
        d: () => ofCurrent((group) => group.found !== DUPLICATES && act(group, () => treat(group, !group.isActive))),
        c: () => ofCurrent((group) => nextChoice(document.getElementById(`g${group.index}`))),
        v: () => ofCurrent((group) => { group.isOpen = !group.isOpen; act(group, () => ''); }),
    };
    for (let digit = 1; digit <= 9; ++digit) {
        ACTS[digit] = () => ofCurrent((group) => group.isActive && group.items[digit - 1] && act(group, () => decide(group, digit - 1, KEEP)));
    }

    document.addEventListener('keydown', (event) => {
        const types = event.target.matches?.('input:not([type=radio]), select, textarea');
        if (types || event.ctrlKey || event.altKey || event.metaKey || !ACTS[event.key]) return;
        event.preventDefault();
        ACTS[event.key]();
    });
    window.addEventListener('beforeprint', () => {
        isPrinting = true;
        for (const group of shown) group.wasOpen = group.isOpen, group.isOpen = true;
        for (const chunk of chunks) {
            chunk.replaceChildren();
            fill(chunk);
        }
        list.querySelectorAll('.fold').forEach((fold, i) => { if (fold.childElementCount === 1) fold.append(table(shown[i])); });
    });
    window.addEventListener('afterprint', () => {
        isPrinting = false;
        for (const group of shown) group.isOpen = group.wasOpen;
        show();
    });
    window.addEventListener('beforeunload', (event) => { if (!state.isSaved) event.preventDefault(); });

    document.getElementById('folders').open = false;
    list.before(controls);
    list.after(bar);
    show();
    summarise();
}

const withoutScripts = document.querySelector('#list noscript');
try {
    start(readReport());
} catch (error) {
    // Better a report to read than none.
    document.querySelectorAll('#controls, #bar').forEach((part) => part.remove());
    document.getElementById('list').innerHTML = withoutScripts.textContent;
    throw error;
}
