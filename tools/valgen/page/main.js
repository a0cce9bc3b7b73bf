// The address tells what is shown: #2350, #ValDiagnosticsresponseInd, #VALPoint_t, #VALPoint_t.x, #tColour, #climate.val.

const search = document.getElementById("search");
const results = document.getElementById("results");
const details = document.getElementById("details");

document.getElementById("counts").textContent =
  `${totals.messages} messages · ${totals.records} records · ${totals.enums} enumerations`;
document.getElementById("contract").append(
  chip(AGREED), ` ${totals.layouts - totals.assumedLayouts} `, chip(ASSUMED), ` ${totals.assumedLayouts} of ${totals.layouts} layouts`);

// What stands behind the # of the address; as it is if it is no address of ours ("%").
function addressed() {
  const text = location.hash.slice(1);
  try {
    return decodeURIComponent(text);
  } catch {
    return text;
  }
}

function show() {
  const target = addressed();
  const [name, fieldName] = target.split(".");
  const message = byId.get(target) || byName.get(target);
  const isRecord = Object.hasOwn(catalogue.records, name) || Object.hasOwn(catalogue.wrappers, name);
  const isFamily = target.endsWith(".val") && Object.hasOwn(catalogue.families, name);
  document.body.classList.toggle("detail", target !== "");
  document.title = (message ? `${message.id} ${message.name}` : target) || "Message catalogue";
  const back = element("a", {class: "back", href: "#"}, "‹ Results");
  details.replaceChildren(back, ...(message ? showMessage(message) : isRecord ? showRecord(name)
    : Object.hasOwn(catalogue.enums, target) ? showEnum(target) : isFamily ? showFamily(name)
    : target ? [heading("Nothing of that name"), element("p", {}, `'${target}' is no id, message, record, enumeration or family.`)]
    : showOverview()));
  draw();
  const row = fieldName && document.getElementById(`field-${fieldName}`);
  if (row) {
    row.classList.add("target");
    row.scrollIntoView({block: "center"});
  } else {
    details.scrollTop = 0;
    if (target) scrollTo(0, 0);
  }
  for (const each of results.querySelectorAll(".result")) {
    const isShown = each.getAttribute("href") === "#" + target;
    each.toggleAttribute("aria-current", isShown);
    if (isShown) reveal(each);
  }
}

// Rows that were never in view have no true height yet: the first step brings them about, the second one is exact.
function reveal(row) {
  row.scrollIntoView({block: "nearest"});
  requestAnimationFrame(() => row.scrollIntoView({block: "nearest"}));
}

function draw() {
  for (const strip of details.querySelectorAll(".strip")) {
    strip.replaceChildren(drawPicture(strip.dataset.record, strip.clientWidth));
  }
}

// A field in the picture and its row in the table point at one another.
function point(event) {
  const path = event.target.closest("[data-path]")?.dataset.path;
  for (const each of details.querySelectorAll("[data-path]")) each.classList.toggle("pointed", each.dataset.path === path);
  for (const each of details.querySelectorAll(".arrow")) {
    each.classList.toggle("pointed", path !== undefined && [each.dataset.from, each.dataset.to].includes(path));
  }
}

function walk(step) {
  const rows = [...results.querySelectorAll("a.result, button.more")];
  const at = rows.indexOf(document.activeElement);
  if (at + step < 0) search.focus();
  else rows[Math.min(at + step, rows.length - 1)]?.focus();
}

search.addEventListener("input", () => {
  showResults(results, search.value.trim());
  results.scrollTop = 0;
  if (search.value !== "") document.body.classList.remove("detail");
});
document.addEventListener("keydown", event => {
  if (event.ctrlKey || event.altKey || event.metaKey) return;
  const inFinder = document.activeElement === search || results.contains(document.activeElement);
  if (event.key === "/" && document.activeElement !== search) search.select(), search.focus();
  else if (event.key === "Escape") inFinder && search.value && document.activeElement === search ? clear() : search.focus();
  else if (event.key === "ArrowDown" && inFinder) walk(1);
  else if (event.key === "ArrowUp" && inFinder && document.activeElement !== search) walk(-1);
  else if (event.key === "Enter" && document.activeElement === search) results.querySelector("a.result")?.click();
  else return;
  event.preventDefault();
});

function clear() {
  search.value = "";
  search.dispatchEvent(new Event("input"));
}

details.addEventListener("pointerover", point);
details.addEventListener("focusin", point);
addEventListener("hashchange", show);
let width = innerWidth;
addEventListener("resize", () => {
  if (innerWidth !== width) draw();
  width = innerWidth;
});

showResults(results, "");
show();
