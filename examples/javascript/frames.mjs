// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

// Decodes frames of samples, as docs/exchange_format.md gives them.

import { createHash } from 'node:crypto';

const crcTable = Uint32Array.from({ length: 256 }, (_, n) => {
  for (let k = 0; k < 8; ++k) n = n & 1 ? 0xedb88320 ^ (n >>> 1) : n >>> 1;
  return n >>> 0;
});

function crc32(bytes) {
  let crc = 0xffffffff;
  for (const byte of bytes) crc = crcTable[(crc ^ byte) & 255] ^ (crc >>> 8);
  return ~crc >>> 0;
}

// By the number of the value type: bytes an element, and how one is read.
const elements = [
  null,
  [1, 'readInt8'], [2, 'readInt16LE'], [4, 'readInt32LE'], [8, 'readBigInt64LE'],
  [1, 'readUInt8'], [2, 'readUInt16LE'], [4, 'readUInt32LE'], [8, 'readBigUInt64LE'],
  [4, 'readFloatLE'], [8, 'readDoubleLE'], [1, 'readUInt8'], [1, null],
];

// The frame at the beginning of a Buffer; null if there is none that passes its checks.
export function readFrame(bytes, maxPayload = 1 << 20) {
  if (bytes.length < 56 || bytes.readUInt32BE(0) !== 0x56546697) return null;
  const length = bytes.readUInt32LE(12);
  const size = 56 + Math.ceil(length / 8) * 8;
  if (length !== (~bytes.readUInt32LE(16) >>> 0) || length > maxPayload || bytes.length < size ||
      bytes[8] !== 1 || bytes[11] !== 0 || bytes.readUInt32LE(4) !== crc32(bytes.subarray(8, size)))
    return null;
  return {
    size,
    kind: { 1: 'type', 2: 'sample' }[bytes[9]],
    change: ['pushed', 'popped', 'changed'][bytes[10]],
    channel: bytes.readUInt32LE(20),
    fingerprint: bytes.toString('hex', 24, 40),
    time: bytes.readBigInt64LE(40),
    sequence: bytes.readBigUInt64LE(48),
    payload: bytes.subarray(56, 56 + length),
  };
}

// The type that a description holds: { name, version, entries: [{ key, type }] }.
export function readType({ payload, fingerprint }) {
  const nameLength = payload.readUInt32LE(0);
  const version = [payload[7], payload[6], payload.readUInt16LE(4)].join('.');
  const name = payload.toString('utf8', 12, 12 + nameLength);
  const entries = [];
  let at = 12 + nameLength;
  for (let n = payload.readUInt32LE(8); n > 0; --n) {
    const keyLength = payload.readUInt32LE(at);
    const type = payload.readUInt32LE(at + 4);
    if (!elements[type]) throw new Error(`no value type ${type}`);
    entries.push({ key: payload.toString('utf8', at + 8, at + 8 + keyLength), type });
    at += 8 + keyLength;
  }
  const hash = createHash('sha256').update(payload.subarray(0, at)).digest('hex');
  if (hash.slice(0, 32) !== fingerprint) throw new Error('the description has another fingerprint');
  return { name, version, entries };
}

// The values of a sample by key: a string, or an array of numbers, BigInts or booleans.
export function readSample({ payload }, { entries }) {
  const data = 4 * (entries.length + 1);
  const values = {};
  let begin = payload.readUInt32LE(0);
  if (begin !== 0) throw new Error('the first entry does not begin at 0');
  entries.forEach(({ key, type }, i) => {
    const end = payload.readUInt32LE(4 * (i + 1));
    const [width, read] = elements[type];
    if (end < begin || data + end > payload.length || (end - begin) % width !== 0)
      throw new Error(`the bytes of '${key}' are no elements`);
    if (read === null) values[key] = payload.toString('utf8', data + begin, data + end);
    else {
      values[key] = [];
      for (let at = begin; at < end; at += width) values[key].push(payload[read](data + at));
      if (type === 11) values[key] = values[key].map(Boolean);
    }
    begin = end;
  });
  if (data + begin !== payload.length) throw new Error('bytes follow the last entry');
  return values;
}
