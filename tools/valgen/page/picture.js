// A record's bytes, drawn to scale: every byte is as wide as the next, rows follow one another like lines of text.
// What varies in size is hatched and drawn as wide as four bytes; a long block of fixed size is drawn as wide as eight,
// with a torn edge.

const SVG = "http://www.w3.org/2000/svg";
const ROW = 46, TOP = 18, VARIABLE = 4, LONGEST = 48, TORN = 8, LETTER = 6.7;

function svg(name, attributes, ...children) {
  const made = document.createElementNS(SVG, name);
  for (const [key, value] of Object.entries(attributes)) made.setAttribute(key, value);
  made.append(...children);
  return made;
}

// The fields with nested records in their places: what the picture draws, one after another.
function parts(name, prefix = "", base = 0, after = []) {
  const made = [];
  for (const field of catalogue.records[name].fields) {
    const here = base + field.offset;
    const behind = [...after, ...(field.after || []).map(each => prefix + each)];
    if (field.kind === "record") {
      made.push(...parts(field.record, `${prefix}${field.name}.`, here, behind));
    } else {
      made.push({field, path: prefix + field.name, offset: here, after: behind,
                 count: field.count && prefix + field.count, variable: isVariable(field), bytes: field.most});
    }
  }
  return made;
}

function isTorn(part) {
  return !part.variable && part.bytes > LONGEST;
}

function colour(field) {
  if (field.counts) return "count";
  if (field.kind === "array" || field.kind === "fixed_bytes") return "bytes";
  return field.enum ? "enum" : field.kind === "bool" ? "bool" : "integer";
}

function shortType(field) {
  return field.enum ? "enum" : field.record ? field.record + "[]" : field.type.replace(/\[.*|\s.*/g, "") +
    (field.kind === "array" ? "[]" : field.kind === "fixed_bytes" ? `[${field.least}]` : "");
}

function fitted(text, width) {
  const room = Math.floor((width - 8) / LETTER);
  return text.length <= room ? text : room < 2 ? "" : text.slice(0, room - 1) + "…";
}

function drawPicture(name, width) {
  const all = parts(name);
  const record = catalogue.records[name];
  const gap = all.some(each => each.count) ? 26 : 8;  // for arrows
  let perRow = width >= 700 ? 16 : 8;
  if (!all.some(each => each.variable) && record.most <= 8) perRow = 8;
  const unit = Math.max(24, Math.min(56, Math.floor((width - 4) / perRow)));
  const picture = svg("svg", {class: "picture", role: "img", "data-unit": unit, "data-record": name});
  picture.append(svg("title", {}, document.createTextNode(`The bytes of ${name}, to scale`)));
  picture.append(hatching());
  const middles = new Map();  // path -> where an arrow ends or starts
  let cell = 0;
  for (const part of all) {
    const torn = isTorn(part);
    const cells = part.variable ? VARIABLE : torn ? TORN : part.bytes;
    const group = svg("g", {class: "part " + colour(part.field) + (part.variable ? " variable" : torn ? " torn" : " fixed"),
                            "data-path": part.path});
    group.append(svg("title", {}, document.createTextNode(hint(part))));
    // The widest piece bears the name.
    const pieces = [];
    for (let left = cells, at = cell; left > 0;) {
      const taken = Math.min(left, perRow - at % perRow);
      pieces.push({x: at % perRow * unit + 2, y: Math.floor(at / perRow) * (ROW + TOP + gap) + TOP, taken});
      left -= taken;
      at += taken;
    }
    const widest = pieces.reduce((best, each) => each.taken > best.taken ? each : best);
    for (const piece of pieces) group.append(...drawPiece(part, piece, unit, piece === widest, piece === pieces[0]));
    middles.set(part.path, {start: pieces[0], widest, unit});
    picture.append(group);
    cell += cells;
  }
  for (const part of all) {
    if (part.count) picture.append(arrow(middles.get(part.count), middles.get(part.path), part));
  }
  const rows = Math.ceil(cell / perRow);
  const box = [Math.min(cell, perRow) * unit + 4, rows * (ROW + TOP + gap)];
  picture.setAttribute("viewBox", `0 0 ${box[0]} ${box[1]}`);
  picture.setAttribute("width", box[0]);
  picture.setAttribute("height", box[1]);
  return picture;
}

function hatching() {
  const pattern = svg("pattern", {id: "hatch", width: 7, height: 7, patternUnits: "userSpaceOnUse",
                                  patternTransform: "rotate(45)"},
                      svg("rect", {width: 7, height: 7, class: "hatch-ground"}),
                      svg("line", {x1: 0, y1: 0, x2: 0, y2: 7, class: "hatch-line"}));
  const head = svg("marker", {id: "head", viewBox: "0 0 8 8", refX: 7, refY: 4, markerWidth: 7, markerHeight: 7,
                              orient: "auto"}, svg("path", {d: "M0 0 8 4 0 8z", class: "head"}));
  return svg("defs", {}, pattern, head);
}

function drawPiece(part, piece, unit, bearsName, isFirst) {
  const width = piece.taken * unit;
  const made = [svg("rect", {x: piece.x + 0.5, y: piece.y, width, height: ROW, class: "box",
                             "data-bytes": part.variable ? "" : piece.taken})];
  if (part.variable) made.push(svg("rect", {x: piece.x + 0.5, y: piece.y, width, height: ROW, fill: "url(#hatch)"}));
  if (isFirst) {
    const offset = part.offset + (part.after.length ? "+…" : "");
    made.push(svg("text", {x: piece.x + 3, y: piece.y - 5, class: "offset"}, document.createTextNode(offset)));
  }
  if (!bearsName) return made;
  const most = part.variable ? sizesText(part.field) : shortType(part.field);
  for (const [text, y, kind] of [[part.path, 20, "label"], [most, 36, "type"]]) {
    const shown = fitted(text, width);
    if (shown) made.push(svg("text", {x: piece.x + 5, y: piece.y + y, class: kind}, document.createTextNode(shown)));
  }
  return made;
}

function sizesText(field) {
  const size = field.most / field.maximum;
  if (field.record) return `0–${field.maximum} × ${field.record}`;
  return size === 1 ? `0–${field.maximum} bytes` : `0–${field.maximum} × ${size} bytes`;
}

function offsetText(offset, after) {
  return [offset, ...after.map(each => `size of ${each}`)].join(" + ");
}

function hint(part) {
  const size = sizeText(part.field.least, part.field.most);
  return `${part.path}\n${part.field.type}\nat ${offsetText(part.offset, part.after)}, ${size}` +
    (part.field.comment ? `\n${part.field.comment}` : "");
}

// From a count to what it counts: below the row if both stand in it, else down to the other row.
function arrow(from, to, part) {
  const x1 = from.start.x + Math.min(from.start.taken, 1) * from.unit / 2, y1 = from.start.y + ROW;
  const sameRow = from.start.y === to.widest.y;
  const x2 = to.widest.x + (sameRow ? 14 : to.widest.taken * to.unit / 2);
  const y2 = sameRow ? y1 : to.widest.y - 1;
  const bend = sameRow ? `C${x1} ${y1 + 22} ${x2} ${y1 + 22} ${x2} ${y1 + 1}`
                       : `C${x1} ${y1 + 24} ${x2} ${y2 - 28} ${x2} ${y2}`;
  return svg("path", {class: "arrow", d: `M${x1} ${y1}${bend}`, "marker-end": "url(#head)", "data-from": part.count,
                      "data-to": part.path});
}
