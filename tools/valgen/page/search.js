// What a query finds: messages, records, fields, enumerations and their values.

const GROUPS = ["Messages", "Records", "Fields", "Enumerations", "Values"];
const SHOWN = 60;  // of a group, until more are asked for

const entries = makeEntries();

function makeEntries() {
  const all = [];
  const add = (group, target, title, note, keys, assumed = false) =>
    all.push({group, target, title, note, keys: keys.map(key => String(key).toLowerCase()), assumed});
  for (const message of catalogue.messages) {
    add(0, message.id, message.name, String(message.id),
        [message.name, message.id, "0x" + message.id.toString(16), message.family], catalogue.records[message.record].assumed);
  }
  for (const [name, record] of Object.entries(catalogue.records)) {
    add(1, name, name, sizeText(record.least, record.most), [name], record.assumed);
    for (const field of record.fields) {
      add(2, `${name}.${field.name}`, field.name, name, [field.name, `${name}.${field.name}`], record.assumed);
    }
  }
  for (const [name, wrapper] of Object.entries(catalogue.wrappers)) {
    add(1, name, name, "= " + wrapper.target, [name], catalogue.records[wrapper.target].assumed);
  }
  for (const [name, enumeration] of Object.entries(catalogue.enums)) {
    add(3, name, name, enumeration.values, [name]);
    for (const [value, valueName] of enumeration.names) add(4, name, valueName, `${value} of ${name}`, [valueName]);
  }
  return all;
}

// How well one word fits: 0 is the whole key, 3 somewhere within, -1 not at all.
function fit(keys, word) {
  let best = -1;
  for (const key of keys) {
    const at = key.indexOf(word);
    if (at < 0) continue;
    const found = key === word ? 0 : at === 0 ? 1 : /[._]/.test(key[at - 1]) ? 2 : 3;
    if (best < 0 || found < best) best = found;
  }
  return best;
}

// The entries of each group, the best first; all messages for an empty query.
function find(query) {
  const terms = query.toLowerCase().split(/\s+/).filter(Boolean);
  const groups = GROUPS.map(() => []);
  for (const entry of entries) {
    if (terms.length === 0) {
      if (entry.group === 0) groups[0].push([0, entry]);
      continue;
    }
    let sum = 0;
    for (const term of terms) {
      const found = fit(entry.keys, term);
      if (found < 0) { sum = -1; break; }
      sum += found;
    }
    if (sum >= 0) groups[entry.group].push([sum, entry]);
  }
  return groups.map(group => group.sort((a, b) => a[0] - b[0]).map(([, entry]) => entry));
}

function row(entry) {
  return element("a", {class: "result" + (entry.assumed ? " assumed" : ""), href: "#" + entry.target},
                 element("span", {class: "name"}, entry.title), element("span", {class: "note"}, entry.note));
}

// Fills `list`; the message ids stand in front of their names.
function showResults(list, query) {
  const groups = find(query);
  const order = GROUPS.map((_, index) => index);
  // A group that holds the very thing comes first.
  const exact = index => groups[index].length > 0 && query !== "" && groups[index][0].keys.includes(query.toLowerCase());
  order.sort((a, b) => exact(b) - exact(a));
  list.replaceChildren();
  for (const index of order) {
    const found = groups[index];
    if (found.length === 0) continue;
    const rows = element("div", {class: "rows group" + index});
    const limit = query === "" ? found.length : SHOWN;
    rows.append(...found.slice(0, limit).map(row));
    if (found.length > limit) {
      const more = element("button", {class: "more", type: "button"}, `${found.length - limit} more`);
      more.addEventListener("click", () => {
        more.remove();
        rows.append(...found.slice(limit).map(row));
        rows.children[limit].focus();
      });
      rows.append(more);
    }
    list.append(element("h2", {}, GROUPS[index], element("span", {class: "number"}, String(found.length))), rows);
  }
  if (!list.children.length) {
    list.append(element("p", {class: "nothing"},
      `Nothing has '${query}' in an id, a name, a family, a field, an enumeration or a value.`));
  }
}
