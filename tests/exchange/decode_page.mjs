// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

// node decode_page.mjs PAGE: checks that the example's decoder reads the frames on the page, and
// refuses damaged ones.

import assert from 'node:assert/strict';
import { readFileSync } from 'node:fs';
import { readFrame, readSample, readType } from '../../examples/javascript/frames.mjs';

const dump = readFileSync(process.argv[2], 'utf8').matchAll(/^((?:[0-9A-F]{2} ){1,16})   /gm);
const bytes = Buffer.from([...dump].map((line) => line[1]).join('').replaceAll(' ', ''), 'hex');
const description = readFrame(bytes);
const type = readType(description);
assert.deepEqual(type, {
  name: 'Root.Tank', version: '1.0.0', entries: [{ key: 'level', type: 3 }, { key: 'note', type: 12 }],
});
const sample = readFrame(bytes.subarray(description.size));
assert.deepEqual(readSample(sample, type), { level: [1, -1], note: 'abc' });
assert.deepEqual([sample.change, sample.channel, sample.time, sample.sequence],
                 ['changed', 7, -1000000n, 300n]);
for (let i = 0; i < sample.size; ++i) {
  const damaged = Buffer.from(bytes.subarray(description.size));
  damaged[i] ^= 1;
  assert.equal(readFrame(damaged), null, `byte ${i}`);
}
