// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

// After the login the page returns to where it was. The server redirects a wrong token here with
// ?wrong.
if (location.hash !== "") {
  sessionStorage.setItem("place", location.hash);
}
document.getElementById("wrong").hidden = !new URLSearchParams(location.search).has("wrong");
