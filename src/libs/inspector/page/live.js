// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

// Live changes of a stream. A hidden page does not connect, since browsers limit the connections to
// one server.

import { readAbout, server, toQuery } from "./server.js";

const maxFailures = 3;
const kinds = ["sample", "match", "lost", "gone"];

export class Live {
  // Handlers are the functions sample, match, lost and gone, which get an event's data; resumed(),
  // called after an interruption; and refused(), called when a running server has refused several
  // attempts.
  constructor(handlers) {
    this.handlers = handlers;
    this.parameters = null;
    this.source = null;
    this.wasInterrupted = false;
    this.isOpen = false;
    this.failures = 0;
    this.onVisibility = () => (document.hidden ? this.interrupt() : this.connect());
    this.onBack = () => this.connect();
    document.addEventListener("visibilitychange", this.onVisibility);
    server.addEventListener("back", this.onBack);
  }

  follow(parameters) {
    this.disconnect();
    this.parameters = parameters;
    this.connect();
  }

  close() {
    this.disconnect();
    document.removeEventListener("visibilitychange", this.onVisibility);
    server.removeEventListener("back", this.onBack);
    this.parameters = null;
  }

  connect() {
    if (this.source !== null || this.parameters === null || document.hidden) {
      return;
    }
    this.source = new EventSource(`api/events?${toQuery(this.parameters)}`);
    for (const kind of kinds) {
      this.source.addEventListener(kind, (event) => this.receive(kind, event));
    }
    this.source.onopen = () => {
      this.isOpen = true;
      this.failures = 0;
      if (this.wasInterrupted) {
        this.wasInterrupted = false;
        this.handlers.resumed();
      }
    };
    this.source.onerror = () => this.reconnect();
  }

  receive(kind, event) {
    const data = JSON.parse(event.data);
    for (const each of Array.isArray(data) ? data : [data]) {
      this.handlers[kind](each);
    }
    if (kind === "gone") {
      this.disconnect();
      this.parameters = null;
    }
  }

  interrupt() {
    this.wasInterrupted = true;
    this.disconnect();
  }

  disconnect() {
    clearTimeout(this.timer);
    this.source?.close();
    this.source = null;
    this.isOpen = false;
  }

  // Browsers do not reconnect after an error status. While the server is unreachable, its return
  // triggers the connection.
  async reconnect() {
    this.interrupt();
    this.timer = setTimeout(() => this.connect(), 2000);
    try {
      await readAbout();
      if (++this.failures === maxFailures) {
        this.handlers.refused();
      }
    } catch {
      this.failures = 0;
    }
  }
}
