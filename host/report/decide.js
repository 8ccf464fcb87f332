// What a report found, and what is decided of it: which copy of each group is kept, which move, which are left.
//
// #data holds the groups of all kinds, #values a line of JSON a group with the values of its items, which is read when
// somebody looks. Nothing here touches the page: page.js shows it.
'use strict';
function readReport() {
    const KEEP = 0, MOVE = 1, LEAVE = 2;
    const DECISIONS = ['keep', 'move', 'leave'];
    const DUPLICATES = 0, RESEMBLING = 2;  // 1: near pairs
    const FOUND = ['duplicates', 'near', 'resembling'];
    const FOUND_NAMES = ['duplicates', 'near pair', 'resembling'];
    const ANY = '';

    const state = {isSaved: true};
    const data = JSON.parse(document.getElementById('data').textContent);
    const lines = document.getElementById('values').textContent.split('\n');

    // ---- what was found, and what is decided of it

    // An item as the report has it: [folder, number, end of its identifier, modified, check over its values, size, fate,
    // {t: title, w: when, s: [folder, file, entry] that it was made from, l: properties that only it has, c: of the first, 1 when
    // merging found conflicts}]
    function readItem(row, first) {
        const [folder, number, ending, modified, values, size, fate, more = {}] = row;
        const [path, store, folderId, prefix, isProtected] = data.folders[folder];
        return {
            folder, number, modified: modified.length === 19 ? modified + '.0000000Z' : modified, values, size, fate,
            title: more.t ?? first.title, when: more.w ?? first.when, source: more.s, losses: more.l ?? [],
            path, folderId, storeId: data.stores[store], entryId: prefix + ending, isProtected: isProtected === 1,
            decision: LEAVE,
        };
    }

    // A group: [found, definitions, why, check, who, items, apart]
    function readGroup(row, index) {
        const [found, definitions, why, check, who, rows, apart] = row;
        const group = {index, found, why, check, who, apart, items: [], kind: data.definitions[definitions].kind,
                       isActive: found === DUPLICATES, isOpen: false, hasConflicts: rows[0][7]?.c === 1, choices: new Map()};
        for (const one of rows) group.items.push(readItem(one, group.items[0]));
        propose(group);
        return group;
    }

    // What the scan would do; of what is not decided to be duplicates, nothing.
    function propose(group) {
        group.items.forEach((item, i) => {
            const moves = group.found === DUPLICATES ? item.fate === 0 : group.isActive && !item.isProtected;
            item.decision = i === 0 ? KEEP : moves ? MOVE : LEAVE;
        });
    }

    const groups = data.groups.map(readGroup);
    const occurrences = new Map();  // of items that are in more than one group
    const first = new Map();
    for (const group of groups) {
        for (const item of group.items) {
            const key = item.storeId + item.entryId;
            if (!first.has(key)) first.set(key, group);
            else occurrences.set(key, [...(occurrences.get(key) ?? [first.get(key)]), group]);
        }
    }

    const kept = (group) => group.items.findIndex((item) => item.decision === KEEP);
    const moves = (group) => group.isActive && group.items.some((item) => item.decision === MOVE);
    const place = (item) => `${item.path}#${item.number}`;
    const titleOf = (item) => item.title || '(no title)';

    // Why what a group does cannot be done beside what the others do: no item goes twice, and none goes that another
    // group rests on.
    function conflict(group) {
        if (!moves(group)) return '';
        for (const item of group.items) {
            if (item.decision === LEAVE) continue;
            const key = item.storeId + item.entryId;
            for (const other of occurrences.get(key) ?? []) {
                if (other === group || !moves(other)) continue;
                const same = other.items.find((one) => one.storeId + one.entryId === key);
                if (same.decision === LEAVE || (same.decision === KEEP && item.decision === KEEP)) continue;
                const what = same.decision === KEEP ? 'is the copy that is kept' : 'is moved';
                return `${place(item)} ${what} in another group, “${titleOf(other.items[0])}”: decide there first.`;
            }
        }
        return '';
    }

    function change(group, act) {
        const before = [group.isActive, ...group.items.map((item) => item.decision)];
        const refused = act() || conflict(group);
        if (refused) {
            group.isActive = before[0];
            group.items.forEach((item, i) => { item.decision = before[i + 1]; });
        } else {
            state.isSaved = false;
        }
        return refused;
    }

    // One copy of each group stays: who takes that from one gives it to another. Returns why not, or nothing.
    function decide(group, index, decision) {
        const item = group.items[index];
        if (item.decision === decision) return '';
        return change(group, () => {
            if (decision === MOVE && item.isProtected) return `${place(item)} is in a protected folder: it stays.`;
            if (decision === KEEP) {
                const other = group.items[kept(group)];
                other.decision = item.decision === MOVE && !other.isProtected ? MOVE : LEAVE;
            } else if (item.decision === KEEP) {
                const others = group.items.filter((one) => one !== item);
                (others.find((one) => one.decision === LEAVE) ?? others[0]).decision = KEEP;
            }
            item.decision = decision;
            return '';
        });
    }

    // Whether pairs and resembling ones are treated as duplicates.
    function treat(group, isActive) {
        return change(group, () => {
            group.isActive = isActive;
            propose(group);
            return '';
        });
    }

    // ---- values

    const valuesOf = (group) => JSON.parse(lines[group.index] || '{}');
    // A row: [property, whether the values differ, a value an item...]. The second may have two lists more: the items that the
    // merged value comes from, and those whose own is left.
    const differs = (row) => (Array.isArray(row[1]) ? row[1][0] : row[1]) === 1;
    const cellText = (row, column) => {
        const value = row[column + 2];
        return typeof value === 'number' ? row[value + 2] : value ?? '';
    };

    // What only an item has: [property, its value, what the kept copy has, what merging does]. The scan looked at everything in the items
    // against the copy that it proposed; against another one this page sees what is in the table.
    function lossesOf(group, index) {
        const against = kept(group);
        if (index === against) return [];
        const values = valuesOf(group);
        if (against === 0) {
            return (values.l ?? []).filter((loss) => loss[0] === index)
                .map(([, name, value, own, merging]) => [data.texts[name], value, own, choiceText(group, index, data.texts[name], value) ?? merging]);
        }
        return (values.r ?? []).filter((row) => differs(row) && cellText(row, index) && cellText(row, index) !== cellText(row, against))
            .map((row) => [data.texts[row[0]], cellText(row, index), cellText(row, against)]);
    }

    // Asked of every group at each decision: what was read once is remembered.
    function hasLosses(group, index) {
        const item = group.items[index], against = kept(group);
        if (against === 0) return item.losses.length > 0;
        if (item.seen?.against !== against) item.seen = {against, has: lossesOf(group, index).length > 0};
        return item.seen.has;
    }

    // ---- what merging asks: of a property with two values, which copy's stays

    // As the report has it: [which property, its name, whether another copy's value can be taken, [[copy, value, 1 when the first
    // copy gets it while it has none], ...]]
    function conflictsOf(group) {
        group.conflicts ??= group.hasConflicts ? valuesOf(group).c.map(([id, name, isReplaceable, values]) =>
            ({id, name: data.texts[name], isReplaceable: isReplaceable === 1, values})) : [];
        return group.conflicts;
    }

    // The values to choose between, [copy, value], the kept copy's first. None while no copy goes that has another one.
    function offersOf(group, conflict) {
        const own = kept(group);
        const moving = conflict.values.filter(([copy]) => group.items[copy].decision === MOVE);
        const first = conflict.values.filter(([copy]) => copy === own);
        const others = moving.filter(([copy, value]) => value !== first[0]?.[1]);
        if (!group.isActive || !others.some(([copy]) => copy !== 0 || first.length > 0)) return [];
        if (own === 0 && others.every(([, value, isBrought]) => isBrought === 1 && value === others[0][1])) return [];
        const offers = [...first];
        for (const one of conflict.isReplaceable ? others : []) {
            if (one[1] !== '' && !offers.some(([, value]) => value === one[1])) offers.push(one);
        }
        return offers;
    }

    // Which of them was chosen; undefined: none, and the copies with another value than the kept one stay.
    function chosenOf(group, conflict) {
        const copy = group.choices.get(conflict.id);
        if (copy === undefined) return undefined;
        const [, chosen] = conflict.values.find(([one]) => one === copy);
        return offersOf(group, conflict).find(([, value]) => value === chosen)?.[0];
    }

    // What was chosen about a value that a copy loses.
    function choiceText(group, index, name, value) {
        const isIt = ([copy, text]) => copy === index && text === value;
        const conflict = conflictsOf(group).find((one) => one.name === name && one.values.some(isIt));
        const chosen = conflict && chosenOf(group, conflict);
        if (chosen === undefined) return undefined;
        return conflict.values.some(([copy, text]) => copy === chosen && text === value) ? 'merging puts it in the place of the kept one, as chosen'
            : 'merging leaves it, as chosen';
    }

    // Which copies a value comes from when all are merged into the first one, as was chosen: "1+2", "1, not 2".
    function originText(group, row) {
        const conflict = conflictsOf(group).find((one) => one.name === data.texts[row[0]]);
        const chosen = conflict && chosenOf(group, conflict);
        let [, from, left] = Array.isArray(row[1]) ? row[1] : [0, [0], []];
        if (chosen !== undefined) {
            from = [chosen];
            left = conflict.values.map(([copy]) => copy).filter((copy) => copy !== chosen);
        }
        const numbers = (copies, between) => copies.map((copy) => copy + 1).join(between);
        return numbers(from, '+') + (left.length ? `, not ${numbers(left, ', ')}` : '');
    }

    function choose(group, conflict, copy) {
        if (copy === undefined) group.choices.delete(conflict.id);
        else group.choices.set(conflict.id, copy);
        state.isSaved = false;
        return '';
    }

    function sourceText(item) {
        if (!item.source) return '';
        const [folder, name, entry] = item.source;
        return data.sources[folder] + name + (entry ? `, entry ${entry}` : '');
    }

    // ---- filter and order

    const filter = {text: '', kind: ANY, found: ANY, folder: ANY, why: ANY, loss: ANY, sort: 'report'};
    const lowered = [];

    function holdsText(group, text) {
        const seen = [group.who, data.texts[group.why]];
        for (const item of group.items) seen.push(item.title, place(item), sourceText(item));
        if (seen.some((one) => one.toLowerCase().includes(text))) return true;
        // The line is JSON: what looks like a find in it is looked at once more as text.
        const raw = JSON.stringify(text).slice(1, -1).replaceAll('<', '\\u003c');
        lowered[group.index] ??= (lines[group.index] ?? '').toLowerCase();
        if (!lowered[group.index].includes(raw)) return false;
        const values = valuesOf(group);
        const texts = [...(values.r ?? []), ...(values.l ?? [])].flat();
        return texts.some((one) => typeof one === 'string' && one.toLowerCase().includes(text));
    }

    function passes(group) {
        return (filter.kind === ANY || group.kind === filter.kind) &&
            (filter.found === ANY || group.found === Number(filter.found)) &&
            (filter.why === ANY || group.why === Number(filter.why)) &&
            (filter.folder === ANY || group.items.some((item) => item.folder === Number(filter.folder))) &&
            (filter.loss === ANY || group.items.some((item) =>
                filter.loss === 'any' ? item.losses.length > 0
                    : filter.loss === 'conflict' ? group.hasConflicts : item.losses.includes(Number(filter.loss)))) &&
            (filter.text === '' || holdsText(group, filter.text));
    }

    const extra = (group) => group.items.reduce((sum, item, i) => sum + (i === 0 ? 0 : item.size), 0);
    const byDate = (a, b) => a.items[0].when < b.items[0].when ? -1 : a.items[0].when > b.items[0].when ? 1 : 0;
    const ORDERS = {
        report: ['as found', () => 0],
        size: ['largest first', (a, b) => extra(b) - extra(a)],
        newest: ['newest first', (a, b) => byDate(b, a)],
        oldest: ['oldest first', byDate],
        count: ['most copies first', (a, b) => b.items.length - a.items.length],
    };

    // ---- what comes of it

    function totals() {
        const sum = {moved: 0, bytes: 0, left: 0, lossy: 0, groups: 0, conflicts: 0, chosen: 0};
        for (const group of groups) {
            if (!group.isActive) continue;
            group.items.forEach((item, i) => {
                if (item.decision === LEAVE) ++sum.left;
                if (item.decision !== MOVE) return;
                ++sum.moved;
                sum.bytes += item.size;
                if (!data.policy.allowLoss && hasLosses(group, i)) ++sum.lossy;
            });
            sum.groups += moves(group);
            for (const conflict of conflictsOf(group)) {
                sum.conflicts += offersOf(group, conflict).length > 0;
                sum.chosen += chosenOf(group, conflict) !== undefined;
            }
        }
        return sum;
    }

    // The file that clean --from takes: docs/schemas/decisions.schema.json.
    function decisions() {
        const named = groups.filter((group) => group.found === DUPLICATES || group.isActive).map((group) => JSON.stringify({
            found: FOUND[group.found], kind: group.kind, check: group.check,
            items: group.items.map((item) => ({
                decision: DECISIONS[item.decision], folder: item.path, number: item.number, title: item.title, modified: item.modified,
                protected: item.isProtected, values: item.values, entryId: item.entryId, folderId: item.folderId, storeId: item.storeId,
            })),
            // Copies are counted from 1. A member that is undefined is not in the file.
            conflicts: group.hasConflicts ? conflictsOf(group).map((conflict) => ({
                property: conflict.id, name: conflict.name, replaceable: conflict.isReplaceable,
                values: conflict.values.map(([copy, value]) => ({copy: copy + 1, value})),
                choice: chosenOf(group, conflict) === undefined ? undefined : chosenOf(group, conflict) + 1,
            })) : undefined,
        }));
        const head = JSON.stringify({format: 'quorvel-decisions', version: 1, scan: data.scan, policy: data.policy, definitions: data.definitions});
        return `${head.slice(0, -1)},"groups":[\n${named.join(',\n')}\n]}\n`;
    }

    // ---- loading what was saved

    // What such a file says of a group; nothing when this page did not write it so.
    function readSaved(group, saved) {
        const items = Array.isArray(saved.items) ? saved.items : [];
        const decided = items.map((item) => DECISIONS.indexOf(item?.decision));
        const isOurs = items.length === group.items.length && decided.filter((one) => one === KEEP).length === 1 &&
            group.items.every((item, i) => items[i]?.entryId === item.entryId && items[i].storeId === item.storeId &&
                decided[i] >= 0 && !(decided[i] === MOVE && item.isProtected));
        if (!isOurs) return undefined;
        const choices = new Map();
        for (const one of Array.isArray(saved.conflicts) ? saved.conflicts : []) {
            const conflict = conflictsOf(group).find(({id}) => id === one?.property);
            if (!conflict) return undefined;
            if (one.choice === undefined) continue;
            if (!conflict.values.some(([copy]) => copy === one.choice - 1)) return undefined;
            choices.set(conflict.id, one.choice - 1);
        }
        return {isActive: true, decided, choices};
    }

    function setAll(states) {
        groups.forEach((group, i) => {
            const {isActive, decided, choices} = states[i] ?? {isActive: false, choices: new Map()};
            Object.assign(group, {isActive, choices});
            if (decided) group.items.forEach((item, at) => { item.decision = decided[at]; });
            else propose(group);
        });
    }

    // Takes the decisions of a saved file, all or none. Returns why not, or nothing.
    function load(text) {
        const refuse = (why) => `${why}: nothing was loaded.`;
        let file;
        try {
            file = JSON.parse(text);
        } catch {
            return refuse('This is no file of decisions');
        }
        if (file?.format !== 'quorvel-decisions' || file.version !== 1 || !Array.isArray(file.groups)) {
            return refuse('This is no file of decisions of this version');
        }
        if (file.scan !== data.scan) return refuse('These decisions are of another scan');
        const places = new Map(groups.map((group) => [group.check, group.index]));
        const states = [];
        for (const [i, saved] of file.groups.entries()) {
            const place = places.get(saved?.check);
            const read = place === undefined || states[place] ? undefined : readSaved(groups[place], saved);
            if (!read) return refuse(`Group ${i + 1} of the file is not as this page wrote it`);
            states[place] = read;
        }
        if (groups.some((group) => group.found === DUPLICATES && !states[group.index])) return refuse('The file lacks groups of this report');
        const before = groups.map(({isActive, items, choices}) => ({isActive, choices, decided: items.map((item) => item.decision)}));
        setAll(states);
        const refused = groups.map(conflict).find(Boolean);
        if (refused) setAll(before);
        else state.isSaved = true;
        return refused ? refuse(refused.slice(0, -1)) : '';
    }

    return {KEEP, MOVE, LEAVE, DECISIONS, DUPLICATES, RESEMBLING, FOUND_NAMES, ANY, ORDERS, data, groups, filter, state,
            kept, moves, place, titleOf, sourceText, decide, treat, valuesOf, differs, cellText, lossesOf, hasLosses, conflictsOf, offersOf,
            chosenOf, originText, choose, passes, totals, decisions, load};
}
