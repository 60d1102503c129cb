// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

// The page: header, connection, notices and the selected view. The fragment of the address holds
// the stream and the rule, so that a link leads back to them.

import { make, makeButton, setText } from "./elements.js";
import { Overview } from "./overview.js";
import { getAbout, readAbout, server, watchServer } from "./server.js";
import { StreamList } from "./stream_list.js";
import { StreamView } from "./stream_view.js";
import { formatClock, setUtc, showsUtc } from "./text.js";

const $ = (id) => document.getElementById(id);

const noticeTime = 6000;
let view = null;
let goneNotice = null;

// Shows a notice, which replaces an earlier one of its kind.
const notify = (kind, text) => {
  const close = makeButton("×", "Close", () => notice.remove());
  close.setAttribute("aria-label", "Close");
  const notice = make("div", { className: "notice" }, make("span", {}, text), close);
  notice.dataset.kind = kind;
  for (const other of $("notices").children) {
    if (other.dataset.kind === kind) {
      other.remove();
    }
  }
  $("notices").append(notice);
  if (kind === "good") {
    setTimeout(() => notice.remove(), noticeTime);
  }
  return notice;
};

const showConnection = (state, text) => {
  $("connection").dataset.state = state;
  setText($("connection"), text);
};

server.addEventListener("gone", () => {
  showConnection("gone", "No connection");
  document.body.classList.add("isGone");
  const time = formatClock(Math.floor(Date.now() / 1000) * 1e6);
  goneNotice = notify("gone", `The connection to the server was lost at ${time}. Trying again…`);
});

server.addEventListener("back", () => {
  document.body.classList.remove("isGone");
  goneNotice?.remove();
  notify("good", "The connection is back.");
});

server.addEventListener("about", () => {
  showConnection("there", "Connected");
  setText($("title"), getAbout().title || "Inspector");
  showTitle();
});

const readPlace = () => {
  const place = new URLSearchParams(location.hash.slice(1));
  return { path: place.get("stream"), rule: place.get("rule") };
};

const writePlace = (path, rule) => {
  const place = new URLSearchParams({ stream: path });
  if (rule !== null) {
    place.set("rule", rule);
  }
  return `#${place}`;
};

const showTitle = () => {
  const { path } = readPlace();
  const title = getAbout()?.title || "Inspector";
  document.title = path === null ? title : `${path} – ${title}`;
};

const list = new StreamList((path) => {
  if (readPlace().path !== path) {
    location.hash = writePlace(path, null);
  }
});

const show = () => {
  const { path, rule } = readPlace();
  if (path !== null && view?.path === path) {
    return;
  }
  view?.close();
  const ruleChanged = (text) => history.replaceState(null, "", writePlace(path, text));
  view = path === null ? new Overview() : new StreamView({ path, rule, ruleChanged, notify });
  $("content").replaceChildren(view.box);
  $("content").scrollTop = 0;
  $("columns").classList.toggle("showsStream", path !== null);
  list.setChosen(path);
  showTitle();
};

const themes = ["auto", "light", "dark"];

const showTheme = (theme) => {
  if (theme === "auto") {
    delete document.documentElement.dataset.theme;
  } else {
    document.documentElement.dataset.theme = theme;
  }
  setText($("theme"), `Theme: ${theme}`);
  view?.redraw?.();
};

const showZone = () => {
  setText($("zone"), showsUtc() ? "UTC" : "Local time");
  view?.redraw?.();
};

const setUp = () => {
  let theme = localStorage.getItem("theme") ?? "auto";
  showTheme(themes.includes(theme) ? theme : "auto");
  showZone();
  $("theme").addEventListener("click", () => {
    theme = themes[(themes.indexOf(theme) + 1) % themes.length];
    localStorage.setItem("theme", theme);
    showTheme(theme);
  });
  $("zone").addEventListener("click", () => {
    setUtc(!showsUtc());
    showZone();
  });
  matchMedia("(prefers-color-scheme: dark)").addEventListener("change", () => view?.redraw?.());
  addEventListener("hashchange", show);
  document.addEventListener("keydown", onKey);
};

const isWriting = (element) => element.matches("input, textarea, select");

const onKey = (event) => {
  if (event.altKey || event.ctrlKey || event.metaKey || isWriting(event.target)) {
    return;
  }
  if (event.key === "/") {
    $("search").focus();
    $("search").select();
  } else if (event.key === "p" && view?.charts) {
    view.toggle();
  } else {
    return;
  }
  event.preventDefault();
};

// After a login the page returns to where it was.
const place = sessionStorage.getItem("place");
if (place !== null) {
  sessionStorage.removeItem("place");
  if (location.hash === "") {
    history.replaceState(null, "", place || location.pathname);
  }
}
setUp();
show();
readAbout().catch(() => {});
watchServer();
