// What stands beside the results: a message, a record, an enumeration, or the overview.

const OPEN_ROWS = 40;  // a record with more rows than this starts with its nested records closed

function heading(title, ...chips) {
  return element("h1", {}, title, element("span", {class: "chips"}, chips));
}

function note(text) {
  return element("span", {class: "chip"}, text);
}

function familyLink(name, text = name + ".val") {
  return link(name + ".val", text);
}

function comment(text) {
  return text ? [element("p", {class: "comment"}, text[0].toUpperCase() + text.slice(1) + (/[.!?]$/.test(text) ? "" : "."))] : [];
}

function showMessage(message) {
  const record = catalogue.records[message.record];
  const wrapper = catalogue.wrappers[message.type];
  const others = carriers.get(message.record).filter(each => each !== message);
  return [
    heading([element("span", {class: "id"}, String(message.id)), message.name],
            chip(stateOf(record)), note(sizeText(record.least, record.most)), note(familyLink(message.family))),
    ...comment(message.comment), ...(wrapper ? comment(wrapper.comment) : []),
    element("p", {}, "Carries ", link(message.type), wrapper ? [", another name of ", link(message.record)] : [],
            others.length ? `, and shares it with ${others.length} other message${others.length === 1 ? "" : "s"}` : "", "."),
    ...comment(record.comment),
    ...layout(message.record),
    ...messageList("Messages with the same record", others),
  ];
}

function showRecord(name) {
  const wrapper = catalogue.wrappers[name];
  const target = wrapper ? wrapper.target : name;
  const record = catalogue.records[target];
  const held = wrapper ? [] : holders.get(name) || [];
  return [
    heading(name, chip(stateOf(record)), note(sizeText(record.least, record.most)),
            note(familyLink((wrapper || record).family)), record.text ? note("text form") : ""),
    ...(wrapper ? [element("p", {}, "Another name of ", link(target), ", for one message.")] : []),
    ...comment(wrapper ? wrapper.comment : record.comment),
    ...layout(target),
    ...messageList("Carried by", carriers.get(name) || []),
    ...usageList("Nested in", held),
    ...(wrapper || !wrappersOf.has(name) ? [] : [element("h2", {}, "Other names"),
      element("ul", {class: "links"}, wrappersOf.get(name).map(each => element("li", {}, link(each))))]),
  ];
}

function showEnum(name) {
  const enumeration = catalogue.enums[name];
  const named = new Map();
  for (const [value, valueName, text] of enumeration.names) addTo(named, value, [valueName, text]);
  const rows = [];
  const add = (value, text) => rows.push(element("tr", {}, element("td", {class: "value"}, value),
    element("td", {class: "hex"}, ...text.hex), element("td", {}, text.name), element("td", {}, text.comment)));
  const hex = value => value < 0 ? "" : "0x" + value.toString(16).toUpperCase().padStart(enumeration.bits / 4, "0");
  const listed = enumeration.kind === "mask" ? [[0, enumeration.mask]] : enumeration.ranges;
  for (const [value, valueName, text] of [...enumeration.names].sort((a, b) => a[0] - b[0])) {
    add(String(value), {hex: [hex(value)], name: valueName, comment: text});
  }
  for (const [first, last] of listed) {
    let start = first;
    const gap = end => {
      if (start > end) return;
      add(start === end ? String(start) : `${start} to ${end}`,
          {hex: [start === end ? hex(start) : hex(start) && `${hex(start)} to ${hex(end)}`], name: "", comment: ""});
    };
    if (enumeration.kind === "mask") continue;
    for (const value of [...named.keys()].sort((a, b) => a - b)) {
      if (value < start || value > last) continue;
      gap(value - 1);
      start = value + 1;
    }
    gap(last);
  }
  const stored = enumeration.stored === enumeration.bits ? "" : `, ${enumeration.stored} in memory`;
  return [
    heading(name, note(`${enumeration.bits} bits${stored}`), note(familyLink(enumeration.family))),
    ...comment(enumeration.comment),
    element("p", {}, `Accepts ${enumeration.values}. A reader refuses anything else with eUnpackBadEnum (11).`),
    ...(rows.length ? [element("table", {class: "values"}, element("thead", {}, element("tr", {},
      (enumeration.names.length ? ["Value", "", "Name", "Meaning"] : ["Value", "", "", ""]).map(each => element("th", {}, each)))), element("tbody", {}, rows))] : []),
    ...usageList("Used by", users.get(name) || []),
  ];
}

function messageList(title, messages) {
  if (!messages.length) return [];
  return [element("h2", {}, title, element("span", {class: "number"}, String(messages.length))),
    element("ul", {class: "links messages"}, messages.map(each => element("li", {},
      element("a", {href: "#" + each.id}, element("span", {class: "id"}, String(each.id)), each.name))))];
}

function usageList(title, uses) {
  if (!uses.length) return [];
  return [element("h2", {}, title, element("span", {class: "number"}, String(uses.length))),
    element("ul", {class: "links"}, uses.map(([record, field]) => element("li", {},
      element("a", {href: `#${record}.${field.name}`}, record, element("span", {class: "field"}, "." + field.name)))))];
}

// Picture and table of a record

function layout(name) {
  const holder = element("div", {class: "strip"});
  holder.dataset.record = name;
  const table = fieldTable(name);
  return [element("h2", {}, "On the wire"), holder, legend(name), table];
}

function legend(name) {
  const kinds = new Set(parts(name).map(each => each.variable ? "variable" : isTorn(each) ? "torn" : colour(each.field)));
  const texts = {count: "counts an array", integer: "integer", enum: "enumeration", bool: "bool", bytes: "bytes",
                 variable: "size varies, not to scale", torn: "long block, not to scale"};
  return element("p", {class: "legend"}, Object.entries(texts).filter(([kind]) => kinds.has(kind)).map(([kind, text]) =>
    element("span", {}, element("i", {class: "swatch " + kind}), text)));
}

function countRows(name) {
  return catalogue.records[name].fields.reduce((sum, each) => sum + 1 + (each.record ? countRows(each.record) : 0), 0);
}

function fieldTable(name) {
  const body = element("tbody", {});
  const isOpen = countRows(name) <= OPEN_ROWS;
  addRows(body, name, {prefix: "", base: 0, after: [], depth: 0, inArray: false, parents: [], isOpen});
  return element("table", {class: "fields"},
    element("thead", {}, element("tr", {}, ["Offset", "Field", "Type", "Bytes", "Unit, meaning"].map(each => element("th", {}, each)))),
    body);
}

// What varies in size before a field.
function plus(after) {
  const text = after.length > 2 ? `${after.length} arrays` : after.join(" + ");
  return after.length ? element("span", {class: "plus"}, " + ", element("var", {}, text)) : "";
}

function typeCell(field) {
  const target = field.enum || field.record;
  if (!target) return [field.type];
  const [before, behind] = field.type.split(target);
  return [before, link(target), behind];
}

function addRows(body, name, at) {
  for (const field of catalogue.records[name].fields) {
    const path = at.prefix + field.name;
    const after = [...at.after, ...(field.after || []).map(each => at.prefix + each)];
    const offset = (at.inArray ? "+" : "") + (at.base + field.offset);
    const row = element("tr", {"data-path": path, id: at.depth ? undefined : `field-${field.name}`, class: colour(field)});
    const toggle = field.record ? element("button", {type: "button", class: "toggle", "aria-expanded": at.isOpen,
      "aria-label": `fields of ${field.name}`}) : "";
    row.append(
      element("td", {class: "offset", title: offsetText(at.base + field.offset, after)}, offset, plus(after)),
      element("td", {class: "name", style: `--depth:${at.depth}`}, toggle, field.name,
        field.counts ? element("span", {class: "counts"}, ` counts ${field.counts}`) : ""),
      element("td", {class: "type"}, typeCell(field)),
      element("td", {class: "bytes"}, field.least === field.most ? String(field.least) : `${field.least} to ${field.most}`),
      element("td", {class: "meaning"}, field.comment || ""));
    row.nestedIn = at.parents;
    body.append(row);
    if (!field.record) continue;
    toggle.addEventListener("click", () => {
      toggle.setAttribute("aria-expanded", toggle.getAttribute("aria-expanded") !== "true");
      hideClosed(body);
    });
    const array = field.kind === "array";
    addRows(body, field.record, {prefix: `${path}${array ? "[]" : ""}.`, base: array ? 0 : at.base + field.offset,
      after: array ? [] : after, depth: at.depth + 1, inArray: at.inArray || array, parents: [...at.parents, toggle],
      isOpen: at.isOpen});
  }
  if (at.depth === 0) hideClosed(body);
}

function hideClosed(body) {
  for (const row of body.rows) row.hidden = row.nestedIn.some(each => each.getAttribute("aria-expanded") !== "true");
}

// The overview

function showFamily(name) {
  const own = all => Object.entries(all).filter(([, each]) => each.family === name).map(([own]) => own);
  const list = (title, names) => names.length ? [element("h2", {}, title, element("span", {class: "number"}, String(names.length))),
    element("ul", {class: "links"}, names.map(each => element("li", {}, link(each))))] : [];
  return [
    heading(name + ".val"),
    ...comment(catalogue.families[name]),
    ...messageList("Messages", catalogue.messages.filter(message => message.family === name)),
    ...list("Records", own(catalogue.records)),
    ...list("Enumerations", own(catalogue.enums)),
  ];
}

function showOverview() {
  const share = totals.assumedLayouts / totals.layouts;
  const agreedLayouts = totals.layouts - totals.assumedLayouts;
  const families = new Map();
  for (const message of catalogue.messages) addTo(families, message.family, message);
  const tile = (number, text) => element("div", {class: "tile"}, element("b", {}, String(number)), text);
  return [
    heading("Everything the codec knows"),
    element("div", {class: "tiles"}, tile(totals.messages, "messages"), tile(totals.records, "records"),
      tile(totals.layouts, "layouts"), tile(totals.enums, "enumerations")),
    element("h2", {}, "Contract and assumption"),
    element("div", {class: "share", role: "img", "aria-label": `${totals.assumedLayouts} of ${totals.layouts} layouts are assumed`},
      element("i", {class: "contract", style: `flex-grow:${1 - share}`}), element("i", {class: "assumed", style: `flex-grow:${share}`})),
    element("p", {}, chip(AGREED), ` ${agreedLayouts} layouts are agreed with the other side; they are under ` +
      `${totals.messages - totals.assumedMessages} messages.`),
    element("p", {}, chip(NAMES_ASSUMED), ` ${totals.assumedNames} of these are agreed to the byte, and the names of their fields are ours.`),
    element("p", {}, chip(ASSUMED), ` ${totals.assumedLayouts} layouts are assumed: their names and widths were chosen and nobody has ` +
      `confirmed them; they are under ${totals.assumedMessages} messages. Code that uses one doesn't compile unless it says ` +
      "that it accepts that."),
    element("p", {class: "comment"}, "A record is a layout or one of the ", String(totals.records - totals.layouts),
      " wrappers, each of which is another name of a layout for one message."),
    element("h2", {}, "Families"),
    element("table", {class: "families"}, element("tbody", {}, [...families].sort(([a], [b]) => a < b ? -1 : 1).map(([name, messages]) =>
      element("tr", {}, element("td", {class: "name"}, familyLink(name, name)), element("td", {class: "bytes"}, String(messages.length)),
        element("td", {class: "meaning"}, catalogue.families[name]))))),
    element("h2", {}, "Keys"),
    element("p", {}, ["/", " search   ", "↓ ↑", " walk through the results   ", "Enter", " open   ", "Esc", " back to the search"].map(
      (each, index) => index % 2 ? each : element("kbd", {}, each))),
  ];
}
