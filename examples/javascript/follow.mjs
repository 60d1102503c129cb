// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

// node follow.mjs SUBJECT [URL [STREAM]]: prints the samples that a publisher keeps in JetStream, a
// JSON line each, from the oldest on, and ends when there are no more. Needs `npm install nats`.

import { AckPolicy, connect } from 'nats';
import { readFrame, readSample, readType } from './frames.mjs';

const [subject, url = 'nats://127.0.0.1:4222', stream = 'velmora'] = process.argv.slice(2);
const connection = await connect({ servers: url });
const manager = await connection.jetstreamManager();
const types = new Map();

async function findType(fingerprint) {
  if (!types.has(fingerprint)) {
    const message = await manager.streams.getMessage(
      stream, { last_by_subj: `=types.${stream}.${fingerprint}` });
    types.set(fingerprint, readType(readFrame(Buffer.from(message.data))));
  }
  return types.get(fingerprint);
}

const info = await manager.consumers.add(
  stream, { ack_policy: AckPolicy.None, filter_subject: subject });
const consumer = await connection.jetstream().consumers.get(stream, info.name);
for (let left = info.num_pending; left > 0;) {
  for await (const message of await consumer.fetch({ max_messages: Math.min(left, 1000) })) {
    --left;
    const frame = readFrame(Buffer.from(message.data));
    if (frame?.kind !== 'sample') continue;
    const values = readSample(frame, await findType(frame.fingerprint));
    console.log(JSON.stringify(
      { subject: message.subject, time: Number(frame.time), sequence: Number(frame.sequence), ...values },
      (_, value) => (typeof value === 'bigint' ? value.toString() : value)));
  }
}
await connection.close();
