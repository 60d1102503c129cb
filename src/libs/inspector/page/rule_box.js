// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

// An input for a rule, which is checked while it is typed. Mistakes are underlined by a transparent
// copy of the text behind the input.

import { debounce, make, makeButton } from "./elements.js";
import { get } from "./server.js";

const maxRuleLength = 2000;

// The text in parts, with those of findings marked. Offsets count UTF-16 code units.
const markFindings = (text, findings) => {
  const parts = [];
  let at = 0;
  for (const { severity, begin, end } of [...findings].sort((a, b) => a.begin - b.begin)) {
    const from = Math.max(begin, at);
    // A finding of no characters, or behind the last one, is shown at an added blank.
    const to = Math.max(end, from);
    parts.push(text.slice(at, from));
    parts.push(make("span", { className: `finding ${severity}` },
      from === to ? text.slice(from, from + 1).trim() || "\u00a0" : text.slice(from, to)));
    at = from === to ? Math.min(from + 1, text.length) : to;
  }
  parts.push(text.slice(at));
  return parts;
};

const describeFinding = ({ severity, message, hint }) => {
  const label = severity === "error" ? "Error: " : "Warning: ";
  const item = make("li", { className: severity }, make("strong", {}, label), message);
  if (hint) {
    item.append(make("span", { className: "hint" }, hint));
  }
  return item;
};

export class RuleBox {
  // Options: path, placeholder, text, apply(rule or null).
  constructor({ path, placeholder, text, apply }) {
    this.path = path;
    this.apply = apply;
    this.applied = null;
    this.turn = 0;
    this.back = make("div", { className: "ruleBack", "aria-hidden": "true" });
    this.input = make("textarea", {
      id: "rule", rows: 1, value: text, placeholder, spellcheck: false, maxLength: maxRuleLength,
      autocapitalize: "off", autocomplete: "off", "aria-describedby": "findings",
    });
    this.findings = make("ul", { id: "findings", className: "findings", role: "status" });
    const clear = makeButton("Clear", "Leave the rule", () => this.clear());
    this.box = make("section", { className: "rule" },
      make("label", { htmlFor: "rule" }, "Rule"),
      make("div", { className: "ruleLine" },
        make("div", { className: "ruleField" }, this.back, this.input), clear),
      this.findings);
    this.checkSoon = debounce(150, () => this.check());
    this.input.addEventListener("input", () => this.onInput());
    this.input.addEventListener("scroll", () => (this.back.scrollTop = this.input.scrollTop));
    this.input.addEventListener("keydown", (event) => this.onKey(event));
    if (text !== "") {
      this.onInput();
    }
  }

  close() {
    this.checkSoon.cancel();
    ++this.turn;
  }

  clear() {
    this.input.value = "";
    this.onInput();
    this.input.focus();
  }

  // A rule is a single line: Enter checks it.
  onKey(event) {
    if (event.key === "Enter") {
      event.preventDefault();
      this.checkSoon.cancel();
      this.check();
    }
  }

  onInput() {
    this.back.replaceChildren(this.input.value);
    this.resize();
    this.checkSoon();
  }

  resize() {
    this.input.style.height = "auto";
    if (this.input.scrollHeight > 0) {
      this.input.style.height = `${this.input.scrollHeight + 2}px`;
    }
  }

  async check() {
    const turn = ++this.turn;
    const rule = this.input.value;
    if (rule.trim() === "") {
      this.show(rule, []);
      this.setApplied(null);
      return;
    }
    try {
      const { ok, findings } = await get("check", { path: this.path, rule });
      if (turn === this.turn && rule === this.input.value) {
        this.show(rule, findings);
        this.setApplied(ok || findings.every(({ severity }) => severity !== "error") ? rule : null);
      }
    } catch (error) {
      if (turn === this.turn) {
        this.findings.replaceChildren(
          make("li", { className: "error" }, `The rule was not checked. ${error.message}`));
      }
    }
  }

  show(rule, findings) {
    this.back.replaceChildren(...markFindings(rule, findings));
    this.findings.replaceChildren(...findings.map(describeFinding));
    const isWrong = findings.some(({ severity }) => severity === "error");
    this.input.setAttribute("aria-invalid", String(isWrong));
    this.box.dataset.state = isWrong ? "wrong" : rule.trim() === "" ? "none" : "right";
  }

  setApplied(rule) {
    if (this.applied !== rule) {
      this.applied = rule;
      this.apply(rule);
    }
  }
}
