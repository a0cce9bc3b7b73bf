// The schemas, and what follows from them: who carries, holds and uses what.

const catalogue = JSON.parse(document.getElementById("data").textContent);

const byId = new Map(catalogue.messages.map(message => [String(message.id), message]));
const byName = new Map(catalogue.messages.map(message => [message.name, message]));

const carriers = new Map();  // record or wrapper -> messages
const wrappersOf = new Map();  // record -> wrappers
const holders = new Map();  // record -> [record, field] that nest it
const users = new Map();  // enumeration -> [record, field]

function addTo(map, key, value) {
  if (!map.has(key)) map.set(key, []);
  map.get(key).push(value);
}

for (const message of catalogue.messages) {
  addTo(carriers, message.record, message);
  if (message.type !== message.record) addTo(carriers, message.type, message);
}
for (const [name, wrapper] of Object.entries(catalogue.wrappers)) addTo(wrappersOf, wrapper.target, name);
for (const [name, record] of Object.entries(catalogue.records)) {
  for (const field of record.fields) {
    if (field.record) addTo(holders, field.record, [name, field]);
    if (field.enum) addTo(users, field.enum, [name, field]);
  }
}

const totals = {
  messages: catalogue.messages.length,
  layouts: Object.keys(catalogue.records).length,
  records: Object.keys(catalogue.records).length + Object.keys(catalogue.wrappers).length,
  enums: Object.keys(catalogue.enums).length,
  assumedLayouts: Object.values(catalogue.records).filter(record => record.assumed).length,
  assumedNames: Object.values(catalogue.records).filter(record => record.assumedNames).length,
  assumedMessages: catalogue.messages.filter(message => catalogue.records[message.record].assumed).length,
};

function isVariable(field) {
  return field.least !== field.most;
}

function sizeText(least, most) {
  return least === most ? `${least} byte${least === 1 ? "" : "s"}` : `${least} to ${most} bytes`;
}

// Elements

// element("a", {href: "#1", class: "x"}, "text", child...)
function element(name, attributes, ...children) {
  const made = document.createElement(name);
  for (const [key, value] of Object.entries(attributes || {})) {
    if (value !== undefined && value !== false) made.setAttribute(key, value);
  }
  made.append(...children.flat().filter(child => child !== undefined && child !== ""));
  return made;
}

function link(target, text = target) {
  return element("a", {href: "#" + target}, text);
}

// How far a layout is agreed with the other side.
const AGREED = {name: "contract", style: "contract", title: "Agreed with the other side"};
const NAMES_ASSUMED = {name: "names ours", style: "contract", title: "Agreed to the byte; the names of its fields are ours"};
const ASSUMED = {name: "assumed", style: "assumed", title: "Names or widths that nobody has confirmed"};

function stateOf(record) {
  return record.assumed ? ASSUMED : record.assumedNames ? NAMES_ASSUMED : AGREED;
}

function chip(state) {
  return element("span", {class: "chip " + state.style, title: state.title}, state.name);
}
