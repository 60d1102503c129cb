// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

// Requests to the server, and the state of the connection. Paths are relative, so that a reverse
// proxy may serve the page below a path of its own.

export class ServerError extends Error {
  constructor(status, message) {
    super(message);
    this.status = status;
  }
}

const patience = 10000;

// Events: "gone", "back", and "about" with the answer of /api/about.
export const server = new EventTarget();

let isGone = false;
let ahead = 0;
let about = null;

export const getAbout = () => about;

// The server's clock, in microseconds since 1970.
export const serverNow = () => Date.now() * 1000 + ahead;

export const toQuery = (parameters) => {
  const query = new URLSearchParams();
  for (const [name, value] of Object.entries(parameters)) {
    for (const each of Array.isArray(value) ? value : [value]) {
      if (each !== null && each !== undefined) {
        query.append(name, each);
      }
    }
  }
  return query.toString();
};

const setGone = () => {
  if (!isGone) {
    isGone = true;
    server.dispatchEvent(new Event("gone"));
    setTimeout(tryAgain, 1000);
  }
};

const setBack = () => {
  if (isGone) {
    isGone = false;
    server.dispatchEvent(new Event("back"));
  }
};

const signIn = () => {
  sessionStorage.setItem("place", location.hash);
  location.assign("login");
};

const readError = async (response) => {
  try {
    return (await response.json()).error;
  } catch {
    return `The server answered ${response.status}.`;
  }
};

const ask = async (address, signal) => {
  const abort = new AbortController();
  const stop = () => abort.abort();
  const timer = setTimeout(stop, patience);
  signal?.addEventListener("abort", stop);
  try {
    const response = await fetch(address, { signal: abort.signal, cache: "no-store" });
    if (!response.ok) {
      if (response.status === 401) {
        signIn();
      }
      throw new ServerError(response.status, await readError(response));
    }
    return await response.json();
  } finally {
    clearTimeout(timer);
    signal?.removeEventListener("abort", stop);
  }
};

// Sends a request. Throws a ServerError for an error status, and another error if there is no
// answer.
export const get = async (name, parameters = {}, signal = undefined) => {
  try {
    const answer = await ask(`api/${name}?${toQuery(parameters)}`, signal);
    setBack();
    return answer;
  } catch (error) {
    if (!(error instanceof ServerError) && !signal?.aborted) {
      setGone();
    }
    throw error;
  }
};

export const readAbout = async () => {
  const begin = Date.now();
  about = await get("about");
  const middle = (begin + Date.now()) / 2;
  ahead = about.now - middle * 1000;
  server.dispatchEvent(new Event("about"));
  return about;
};

const tryAgain = async () => {
  try {
    await readAbout();
  } catch {
    if (isGone) {
      setTimeout(tryAgain, 1500);
    }
  }
};

const period = 3000;

// Polls the server while the page is visible, which also detects a connection that was lost
// silently.
export const watchServer = () => {
  const turn = async () => {
    if (!document.hidden && !isGone) {
      await readAbout().catch(() => {});
    }
    setTimeout(turn, period);
  };
  setTimeout(turn, period);
};
