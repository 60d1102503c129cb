// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

// The tree of groups and streams, and the streams that a search finds. Both are loaded page by page
// as they come into view.

import { debounce, make, setText } from "./elements.js";
import { get, getAbout, server, serverNow } from "./server.js";
import { formatCount, formatShortAge, showUnseen } from "./text.js";
import { VirtualList } from "./virtual_list.js";

const pageSize = 100;
// Touch screens need taller rows.
const rowHeight = matchMedia("(pointer: coarse)").matches ? 42 : 30;
const maxNewest = 200;
const agePeriod = 2000;

// Rows that are loaded page by page: load(offset, limit) gives {total, items}.
class Pages {
  constructor(load, changed) {
    this.load = load;
    this.changed = changed;
    this.items = [];
    this.total = null;
    this.loading = new Set();
    this.generation = 0;
    this.read = new Map();
  }

  // Shown rows stay until they have been reloaded.
  refresh() {
    ++this.generation;
  }

  // Loads the page of a row unless that has been done.
  async want(index) {
    const offset = Math.floor(index / pageSize) * pageSize;
    const begin = index in this.items || index === offset ? offset : index;
    if (this.loading.has(begin) || this.read.get(begin) === this.generation) {
      return;
    }
    this.loading.add(begin);
    const generation = this.generation;
    try {
      const { total, items } = await this.load(begin, pageSize);
      this.read.set(begin, generation);
      this.total = items.length === 0 ? Math.min(total, begin) : total;
      this.items.length = Math.min(this.items.length, this.total);
      items.forEach((item, position) => (this.items[begin + position] = item));
      this.changed();
    } catch {
      // The notice of the lost connection is enough; the rows are loaded again when the server is
      // back.
    } finally {
      this.loading.delete(begin);
    }
  }
}

// A time is that of the newest sample, null without one, or undefined while it is not known.
const formatListAge = (time) => (time === undefined ? "" : time === null ? "empty" :
  formatShortAge((serverNow() - time) / 1e6));

const makeStreamRow = (row, name, path, owner) => {
  row.setAttribute("aria-selected", String(path === owner.chosen));
  row.append(make("span", { className: "name" }, ...name),
    make("span", { className: "age" }, formatListAge(owner.times.get(path))));
};

// Splits a path around the text that was searched for.
const markFound = (path, text) => {
  const at = path.toLowerCase().indexOf(text.toLowerCase());
  if (at < 0 || text === "") {
    return [showUnseen(path)];
  }
  const end = at + text.length;
  const parts = [path.slice(0, at), path.slice(at, end), path.slice(end)].map(showUnseen);
  return [parts[0], make("mark", {}, parts[1]), parts[2]];
};

class Tree {
  constructor(box, owner) {
    this.owner = owner;
    this.known = new Map();
    this.wanted = null;
    this.root = this.makeNode({ path: "", kind: "group", name: "" }, null);
    this.root.isOpen = true;
    this.rows = [];
    this.list = new VirtualList(box, {
      role: "tree", rowRole: "treeitem", label: "Streams", rowHeight,
      fill: (row, index) => this.fill(row, index),
      choose: (index) => this.choose(index),
      key: (index, event) => this.onKey(index, event),
    });
    this.root.pages.want(0);
  }

  makeNode(item, parent) {
    const node = { ...item, parent, level: parent === null ? 0 : parent.level + 1, isOpen: false };
    if (item.kind === "group") {
      node.pages = new Pages((offset, limit) => this.load(node, offset, limit), () => this.show());
    }
    return node;
  }

  // A group that is reloaded stays open.
  keep(item, parent) {
    const key = `${item.kind} ${item.path}`;
    const node = this.known.get(key);
    if (node === undefined) {
      this.known.set(key, this.makeNode(item, parent));
      return this.known.get(key);
    }
    return Object.assign(node, item);
  }

  async load(node, offset, limit) {
    const { total, children } = await get("tree", { path: node.path, offset, limit });
    const items = children.map((child) => this.keep(child, node));
    // A group that is an only child is opened at once.
    if (total === 1 && items.length === 1 && items[0].kind === "group" && node.level < 4) {
      items[0].isOpen = true;
    }
    this.openWanted(items);
    return { total, items };
  }

  // Opens the groups around a stream: loaded ones at once, the others when they have been loaded.
  reveal(path) {
    this.wanted = path;
    const visit = (node) => {
      this.openWanted(node.pages.items);
      node.pages.items.filter((child) => child.isOpen).forEach(visit);
    };
    visit(this.root);
    this.show();
  }

  openWanted(items) {
    const separator = getAbout()?.separator ?? "/";
    for (const item of items) {
      if (item.kind === "group" && this.wanted?.startsWith(item.path + separator)) {
        item.isOpen = true;
      }
    }
  }

  showWanted() {
    const at = this.rows.findIndex(({ node }) => node?.kind === "stream" &&
      node.path === this.wanted);
    if (at >= 0) {
      this.wanted = null;
      this.list.activate(at);
    }
  }

  refresh() {
    const visit = (node) => {
      node.pages.refresh();
      node.pages.items.filter((child) => child.isOpen).forEach(visit);
    };
    visit(this.root);
    this.root.pages.want(0);
    this.show();
  }

  show() {
    this.rows = [];
    const add = (node) => {
      const { items, total } = node.pages;
      for (let index = 0; index < (total ?? 1); ++index) {
        const child = items[index] ?? null;
        this.rows.push({ node: child, parent: node, index });
        if (child?.isOpen) {
          add(child);
        }
      }
    };
    add(this.root);
    this.list.setCount(this.root.pages.total === 0 ? 0 : this.rows.length);
    if (this.wanted) {
      this.showWanted();
    }
    this.owner.describe();
    performance.mark("streams shown");
  }

  fill(row, index) {
    const { node, parent, index: position } = this.rows[index];
    parent.pages.want(position);
    const level = parent.level + 1;
    row.setAttribute("aria-level", level);
    row.setAttribute("aria-posinset", position + 1);
    row.setAttribute("aria-setsize", parent.pages.total ?? 1);
    row.style.paddingLeft = `${8 + (level - 1) * 16}px`;
    if (node === null) {
      row.classList.add("unread");
      row.append("…");
      return;
    }
    row.title = node.path;
    row.classList.add(node.kind);
    if (node.kind === "stream") {
      makeStreamRow(row, [showUnseen(node.name)], node.path, this.owner);
      return;
    }
    row.setAttribute("aria-expanded", String(node.isOpen));
    row.append(make("span", { className: "name" }, showUnseen(node.name)),
      make("span", { className: "count" }, formatCount(node.streams ?? 0)));
  }

  choose(index) {
    const { node } = this.rows[index] ?? {};
    if (node?.kind === "stream") {
      this.owner.choose(node.path);
    } else if (node) {
      this.setOpen(node, !node.isOpen);
    }
  }

  setOpen(node, isOpen) {
    this.wanted = null;
    node.isOpen = isOpen;
    this.show();
  }

  onKey(index, { key }) {
    const { node, parent } = this.rows[index] ?? {};
    if (!node || (key !== "ArrowRight" && key !== "ArrowLeft")) {
      return false;
    }
    const isGroup = node.kind === "group";
    if (key === "ArrowRight" && isGroup) {
      if (node.isOpen) {
        this.list.activate(index + 1);
      } else {
        this.setOpen(node, true);
      }
    } else if (key === "ArrowLeft" && isGroup && node.isOpen) {
      this.setOpen(node, false);
    } else if (key === "ArrowLeft" && parent !== this.root) {
      this.list.activate(this.rows.findIndex((row) => row.node === parent));
    }
    return true;
  }

  pathAt(index) {
    const { node } = this.rows[index] ?? {};
    return node?.kind === "stream" ? node.path : null;
  }
}

class Results {
  constructor(box, owner) {
    this.owner = owner;
    this.text = "";
    this.pages = null;
    this.list = new VirtualList(box, {
      role: "listbox", rowRole: "option", label: "Streams found", rowHeight,
      fill: (row, index) => this.fill(row, index),
      choose: (index) => this.choose(index),
    });
  }

  search(text) {
    this.text = text;
    const load = async (offset, limit) => {
      const { total, streams } = await get("search", { q: text, offset, limit });
      return { total, items: streams };
    };
    const pages = new Pages(load, () => this.show(pages));
    this.pages = pages;
    this.list.active = -1;
    pages.want(0);
  }

  refresh() {
    this.pages?.refresh();
    this.pages?.want(0);
  }

  // Answers to an outdated search are ignored.
  show(pages) {
    if (pages === this.pages) {
      this.list.setCount(pages.total);
      this.owner.describe();
    }
  }

  fill(row, index) {
    this.pages.want(index);
    const found = this.pages.items[index];
    row.classList.add("stream");
    if (found === undefined) {
      row.classList.add("unread");
      row.append("…");
      return;
    }
    row.title = found.path;
    makeStreamRow(row, markFound(found.path, this.text), found.path, this.owner);
  }

  choose(index) {
    const path = this.pathAt(index);
    if (path !== null) {
      this.owner.choose(path);
    }
  }

  pathAt(index) {
    return this.pages?.items[index]?.path ?? null;
  }
}

export class StreamList {
  // choose(path) is called when a stream is selected.
  constructor(choose) {
    this.choose = choose;
    this.chosen = null;
    this.times = new Map();
    this.box = document.getElementById("tree");
    this.foundBox = document.getElementById("results");
    this.state = document.getElementById("listState");
    this.input = document.getElementById("search");
    this.tree = new Tree(this.box, this);
    this.results = new Results(this.foundBox, this);
    const search = debounce(120, () => this.search());
    this.input.addEventListener("input", search);
    this.input.addEventListener("keydown", (event) => this.onKey(event));
    server.addEventListener("back", () => this.refresh());
    server.addEventListener("about", () => this.onAbout());
    setInterval(() => this.readAges(), agePeriod);
    this.readAgesSoon = debounce(100, () => this.readAges());
    for (const { list } of [this.tree, this.results]) {
      list.box.addEventListener("scroll", this.readAgesSoon, { passive: true });
    }
  }

  get isSearching() {
    return this.input.value !== "";
  }

  get shown() {
    return this.isSearching ? this.results : this.tree;
  }

  setChosen(path) {
    this.chosen = path;
    if (path !== null && !this.tree.rows.some(({ node }) => node?.path === path)) {
      this.tree.reveal(path);
    }
    for (const part of [this.tree, this.results]) {
      for (const [index, row] of part.list.rows) {
        row.setAttribute("aria-selected", String(path !== null && part.pathAt(index) === path));
      }
    }
  }

  search() {
    this.box.hidden = this.isSearching;
    this.foundBox.hidden = !this.isSearching;
    if (this.isSearching) {
      this.results.search(this.input.value);
    } else {
      this.tree.list.render();
      this.describe();
    }
  }

  refresh() {
    this.tree.refresh();
    this.results.refresh();
  }

  onAbout() {
    const { streams } = getAbout();
    if (this.streams !== undefined && this.streams !== streams) {
      this.refresh();
    }
    this.streams = streams;
  }

  onKey(event) {
    if (event.key === "Escape") {
      this.input.value = "";
      this.search();
    } else if (event.key === "ArrowDown" && this.shown.list.count > 0) {
      this.shown.list.box.focus();
    } else if (event.key === "Enter" && this.isSearching) {
      this.results.choose(0);
    } else {
      return;
    }
    event.preventDefault();
  }

  // Shows how many there are, or why there are none.
  describe() {
    this.readAgesSoon?.();
    if (this.isSearching) {
      const total = this.results.pages?.total ?? null;
      const found = total === 1 ? "1 stream" : `${formatCount(total ?? 0)} streams`;
      setText(this.state, total === null ? "Searching…" :
        total === 0 ? `No stream has “${this.results.text}” in its path.` : found);
    } else {
      const isEmpty = this.tree.root.pages.total === 0;
      setText(this.state, isEmpty ? "This host has no streams yet." : "");
    }
  }

  // The ages of the streams in view.
  async readAges() {
    const { list } = this.shown;
    const [begin, end] = list.getRange();
    const paths = [];
    for (let index = begin; index < end && paths.length < maxNewest; ++index) {
      paths.push(this.shown.pathAt(index));
    }
    const path = paths.filter((each) => each !== null);
    if (document.hidden || path.length === 0 || list.box.clientHeight === 0) {
      return;
    }
    try {
      this.showAges(await get("newest", { path }));
    } catch {
      // Unknown ages are not shown.
    }
  }

  showAges(newest) {
    this.times = new Map(Object.entries(newest).map(([path, sample]) =>
      [path, sample?.time ?? null]));
    const { shown } = this;
    for (const [index, row] of shown.list.rows) {
      const age = row.querySelector(".age");
      if (age !== null) {
        setText(age, formatListAge(this.times.get(shown.pathAt(index))));
      }
    }
  }
}
