// Elements made by calls: whatever came from outside enters the page as text, and never as markup.

export const byId = (id) => document.getElementById(id);

const kSvg = "http://www.w3.org/2000/svg";

function fill(node, attributes, children) {
  for (const [name, value] of Object.entries(attributes)) {
    if (name.startsWith("on")) node.addEventListener(name.slice(2), value);
    else if (value !== undefined && value !== false) node.setAttribute(name, value === true ? "" : value);
  }
  node.append(...children.flat().filter((child) => child !== undefined && child !== null && child !== ""));
  return node;
}

export const make = (tag, attributes = {}, ...children) => fill(document.createElement(tag), attributes, children);
export const draw = (tag, attributes = {}, ...children) => fill(document.createElementNS(kSvg, tag), attributes, children);

// Names and what belongs to them; those without a value are left out.
export const facts = (pairs) =>
  make("dl", {}, pairs.filter(([, value]) => value !== undefined && value !== null && value !== "")
    .map(([name, value]) => make("div", {}, make("dt", {}, name), make("dd", {}, String(value)))));

// Makes the list's items those of `things`, in their order. An item that is there stays, with
// whatever is open or has the focus in it; it is told of its thing only when that has changed.
export function keep(list, things, keyOf, makeItem) {
  const there = new Map([...list.children].map((item) => [item.dataset.key, item]));
  let before = null;
  for (const thing of things) {
    const key = keyOf(thing);
    const item = there.get(key) ?? Object.assign(makeItem(thing), { told: undefined });
    there.delete(key);
    item.dataset.key = key;
    const wanted = before ? before.nextSibling : list.firstChild;
    if (item !== wanted) list.insertBefore(item, wanted);
    const telling = JSON.stringify(thing);
    if (item.told !== telling) item.tell(thing);
    item.told = telling;
    before = item;
  }
  for (const item of there.values()) item.remove();
}
