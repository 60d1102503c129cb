// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

"use strict";

fetch("/api/search")
    .then((answer) => answer.json())
    .then((found) => {
        for (const stream of found.streams) {
            const line = document.createElement("li");
            line.textContent = `${stream.path}: ${stream.samples}`;
            document.getElementById("streams").append(line);
        }
    });
