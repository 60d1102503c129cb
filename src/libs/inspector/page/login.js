// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

// The page goes on at its place after the token; the server leads back here with ?wrong after one
// that was not its own.
if (location.hash !== "") {
  sessionStorage.setItem("place", location.hash);
}
document.getElementById("wrong").hidden = !new URLSearchParams(location.search).has("wrong");
