'use strict';
// Reads the server's frame stream: one endless response of messages, each a
// 48-byte little-endian header and its payload (see frame_message.h).

const HEADER_BYTES = 48;
const KIND_KEEPALIVE = 0;

function parseHeader(view, at) {
  const magic = String.fromCharCode(view.getUint8(at), view.getUint8(at + 1), view.getUint8(at + 2), view.getUint8(at + 3));
  return {
    magic,
    headerBytes: view.getUint32(at + 4, true),
    payloadBytes: view.getUint32(at + 8, true),
    kind: view.getUint32(at + 12, true),
    format: view.getUint32(at + 16, true),
    width: view.getUint32(at + 20, true),
    height: view.getUint32(at + 24, true),
    frameNumber: view.getUint32(at + 28, true),
    // Microseconds fit a double exactly for centuries of uptime.
    frameStamp: view.getUint32(at + 32, true) + view.getUint32(at + 36, true) * 4294967296,
    dropped: view.getUint32(at + 40, true),
    sequence: view.getUint32(at + 44, true),
  };
}

class FrameStream {
  // onMessage(header, payload: ArrayBuffer) for every frame; onEnd(text)
  // once, when the stream ends for any reason.
  constructor(kinds, onMessage, onEnd) {
    this.kinds = kinds;
    this.onMessage = onMessage;
    this.onEnd = onEnd;
    this.controller = new AbortController();
    this.buffer = new Uint8Array(1 << 20);
    this.length = 0;
    this.run();
  }

  close() { this.controller.abort(); }

  // Tells the server how many frames of each kind the page is done with
  // (drawn, or replaced before it could be): it sends only a couple ahead.
  acknowledge(counts) {
    if (!this.id || Object.keys(counts).length === 0) return;
    fetch('/api/ack', {
      method: 'POST', headers: { 'Content-Type': 'application/json' },
      body: JSON.stringify({ stream: this.id, acks: counts }),
    }).catch(() => {});
  }

  async run() {
    let reason = 'stream ended';
    try {
      const response = await fetch('/api/stream?ack=1&kinds=' + this.kinds.join(','), { signal: this.controller.signal, cache: 'no-store' });
      if (!response.ok) {
        const body = await response.json().catch(() => ({}));
        throw new Error(body.error || ('HTTP ' + response.status));
      }
      this.id = Number(response.headers.get('X-Sarvik-Stream'));
      const reader = response.body.getReader();
      for (;;) {
        const { value, done } = await reader.read();
        if (done) break;
        this.append(value);
        this.drain();
      }
    } catch (e) {
      reason = e.name === 'AbortError' ? 'closed' : e.message;
    }
    this.onEnd(reason);
  }

  append(chunk) {
    if (this.length + chunk.length > this.buffer.length) {
      const grown = new Uint8Array(Math.max(this.buffer.length * 2, this.length + chunk.length));
      grown.set(this.buffer.subarray(0, this.length));
      this.buffer = grown;
    }
    this.buffer.set(chunk, this.length);
    this.length += chunk.length;
  }

  drain() {
    let at = 0;
    const view = new DataView(this.buffer.buffer, 0, this.length);
    while (this.length - at >= HEADER_BYTES) {
      const header = parseHeader(view, at);
      if (header.magic !== 'SVF1' || header.headerBytes !== HEADER_BYTES) {
        this.controller.abort();
        throw new Error('the server sent something that is not a frame');
      }
      const total = HEADER_BYTES + header.payloadBytes;
      if (this.length - at < total) break;
      if (header.kind !== KIND_KEEPALIVE) {
        // A copy of its own: the read buffer is reused for what follows.
        const payload = this.buffer.slice(at + HEADER_BYTES, at + total).buffer;
        this.onMessage(header, payload);
      }
      at += total;
    }
    if (at > 0) {
      this.buffer.copyWithin(0, at, this.length);
      this.length -= at;
    }
  }
}
