// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

// A list of any length that keeps elements only for the rows in view. The list itself has the focus
// and names its active row, so that rows can be removed.

import { make } from "./elements.js";

const overscan = 8;

export class VirtualList {
  // Options: role of the box and of a row, label, rowHeight,
  // fill(row element, index), choose(index), key(index, event) → whether it was used.
  constructor(box, options) {
    this.box = box;
    this.options = options;
    this.count = 0;
    this.active = -1;
    this.rows = new Map();
    this.space = make("div", { className: "space", role: "presentation" });
    box.append(this.space);
    box.tabIndex = 0;
    box.setAttribute("role", options.role);
    box.setAttribute("aria-label", options.label);
    box.addEventListener("scroll", () => this.render(), { passive: true });
    box.addEventListener("keydown", (event) => this.onKey(event));
    box.addEventListener("focus", () => this.onFocus());
    this.space.addEventListener("click", (event) => this.onClick(event));
    new ResizeObserver(() => this.render()).observe(box);
  }

  // Shows `count` rows, all filled again.
  setCount(count) {
    this.count = count;
    this.space.style.height = `${count * this.options.rowHeight}px`;
    this.active = Math.min(this.active, count - 1);
    for (const row of this.rows.values()) {
      row.remove();
    }
    this.rows.clear();
    this.render();
  }

  getRange() {
    const { scrollTop, clientHeight } = this.box;
    const { rowHeight } = this.options;
    const begin = Math.max(Math.floor(scrollTop / rowHeight) - overscan, 0);
    const end = Math.ceil((scrollTop + clientHeight) / rowHeight) + overscan;
    return [begin, Math.min(end, this.count)];
  }

  render() {
    const [begin, end] = this.getRange();
    for (const [index, row] of this.rows) {
      if (index < begin || index >= end) {
        row.remove();
        this.rows.delete(index);
      }
    }
    for (let index = begin; index < end; ++index) {
      if (!this.rows.has(index)) {
        this.addRow(index);
      }
    }
    this.markActive();
  }

  addRow(index) {
    const row = make("div", {
      className: "row", role: this.options.rowRole, id: `${this.box.id}-${index}`,
      "data-index": index, "aria-posinset": index + 1, "aria-setsize": this.count,
    });
    row.style.height = `${this.options.rowHeight}px`;
    row.style.transform = `translateY(${index * this.options.rowHeight}px)`;
    this.options.fill(row, index);
    this.rows.set(index, row);
    this.space.append(row);
  }

  markActive() {
    for (const [index, row] of this.rows) {
      row.classList.toggle("active", index === this.active);
    }
    if (this.rows.has(this.active)) {
      this.box.setAttribute("aria-activedescendant", `${this.box.id}-${this.active}`);
    } else {
      this.box.removeAttribute("aria-activedescendant");
    }
  }

  activate(index) {
    const { rowHeight } = this.options;
    this.active = Math.max(Math.min(index, this.count - 1), 0);
    const top = this.active * rowHeight;
    const { scrollTop, clientHeight } = this.box;
    if (top < scrollTop) {
      this.box.scrollTop = top;
    } else if (top + rowHeight > scrollTop + clientHeight) {
      this.box.scrollTop = top + rowHeight - clientHeight;
    }
    this.render();
  }

  onFocus() {
    if (this.active < 0 && this.count > 0) {
      this.activate(Math.ceil(this.box.scrollTop / this.options.rowHeight));
    }
  }

  onClick(event) {
    const row = event.target.closest(".row");
    if (row !== null) {
      this.active = Number(row.dataset.index);
      this.markActive();
      this.options.choose(this.active);
    }
  }

  onKey(event) {
    if (event.altKey || event.ctrlKey || event.metaKey) {
      return;
    }
    const page = Math.max(Math.floor(this.box.clientHeight / this.options.rowHeight) - 1, 1);
    const steps = {
      ArrowDown: 1, ArrowUp: -1, PageDown: page, PageUp: -page, Home: -this.count, End: this.count,
    };
    if (event.key in steps) {
      this.activate(this.active + steps[event.key]);
    } else if (event.key === "Enter" || event.key === " ") {
      if (this.active >= 0) {
        this.options.choose(this.active);
      }
    } else if (!this.options.key?.(this.active, event)) {
      return;
    }
    event.preventDefault();
  }
}
