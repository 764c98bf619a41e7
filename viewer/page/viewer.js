'use strict';
// The viewer page: device and mode controls over the JSON API, the frame
// stream drawn into canvases, and timings reported back to the server.

const SENSORS = [
  { name: 'color', title: 'Colour' },
  { name: 'depth', title: 'Depth' },
  { name: 'ir', title: 'Infrared' },
  { name: 'lightir', title: 'Infrared (projector)' },
];
const KIND_NAMES = { 1: 'color', 2: 'depth', 4: 'ir', 32: 'lightir', 256: 'cloud' };
const FORMAT = { RGB24: 0, DEPTH16: 1, GRAY8: 2, GRAY16: 3 };

// Everything the page knows; also read by the tests through DevTools.
const state = {
  panels: {},          // sensor name -> { canvas, context, image, stats, toggle, mode, running }
  latest: {},          // kind name -> newest undrawn { header, payload }
  counters: {},        // kind name -> { received, drawn, skipped, dropped, lastSequence, lastStamp, fps }
  colourBar: null,     // Uint8Array of 4096 RGB triples
  depthShift: 2,       // fractional bits of a depth sample
  metresPerUnit: 0.001,
  clockOffsetUs: 0,    // server monotonic microseconds minus performance.now() in microseconds
  latencies: [],       // frame stamp to drawing, microseconds, newest last
  stream: null,
  cloud: null,
  recording: false,
  acks: {},            // kind name -> frames done with since the last acknowledgement
};
window.viewerState = state;

function $(id) { return document.getElementById(id); }

function say(text, isError) {
  const line = $('message');
  line.textContent = text;
  line.className = isError ? 'error' : '';
}

async function api(method, path, body) {
  // A POST always carries a body: the server wants its length.
  const options = { method, headers: {} };
  if (method !== 'GET') {
    options.headers['Content-Type'] = 'application/json';
    options.body = JSON.stringify(body || {});
  }
  const response = await fetch(path, options);
  const reply = await response.json().catch(() => ({ error: 'HTTP ' + response.status }));
  if (!response.ok) throw new Error(reply.error || ('HTTP ' + response.status));
  return reply;
}

async function guarded(action) {
  try {
    return await action();
  } catch (e) {
    say(e.message, true);
    return null;
  }
}

// ---- panels -----------------------------------------------------------

function buildPanels(sensors) {
  const holder = $('panels');
  holder.textContent = '';
  state.panels = {};
  for (const sensor of SENSORS) {
    const info = sensors.find((s) => s.name === sensor.name);
    if (!info) continue;
    const node = $('panel-template').content.firstElementChild.cloneNode(true);
    node.id = 'panel-' + sensor.name;
    node.querySelector('h2').textContent = sensor.title;
    const canvas = node.querySelector('canvas');
    canvas.id = 'canvas-' + sensor.name;
    const panel = {
      canvas, context: canvas.getContext('2d'), image: null,
      stats: node.querySelector('.stats'), toggle: node.querySelector('.toggle'),
      mode: node.querySelector('.mode'), running: info.running,
    };
    panel.toggle.addEventListener('click', () => setRunning(sensor.name, !panel.running));
    panel.mode.addEventListener('change', () => guarded(async () => {
      await api('POST', '/api/mode', { sensor: sensor.name, index: Number(panel.mode.value) });
      say(sensor.title + ': mode ' + panel.mode.selectedOptions[0].textContent);
    }));
    state.panels[sensor.name] = panel;
    holder.appendChild(node);
    showRunning(sensor.name);
    loadModes(sensor.name);
  }
}

async function loadModes(name) {
  const reply = await guarded(() => api('GET', '/api/modes?sensor=' + name));
  const select = state.panels[name] && state.panels[name].mode;
  if (!reply || !select) return;
  select.textContent = '';
  for (const mode of reply.modes) {
    const option = document.createElement('option');
    option.value = mode.index;
    option.textContent = `${mode.width}×${mode.height} ${mode.format} @${mode.fps}`;
    select.appendChild(option);
  }
  if (reply.current >= 0) select.value = reply.current;
}

function showRunning(name) {
  const panel = state.panels[name];
  panel.toggle.textContent = panel.running ? 'Stop' : 'Start';
  panel.toggle.classList.toggle('on', panel.running);
  if (!panel.running) panel.stats.textContent = 'stopped';
}

async function setRunning(name, on) {
  const done = await guarded(() => api('POST', on ? '/api/start' : '/api/stop', { sensor: name }));
  if (done === null) return;
  state.panels[name].running = on;
  showRunning(name);
  if (on && name === 'depth') loadProperties();
}

// ---- drawing ----------------------------------------------------------

function counterOf(kind) {
  if (!state.counters[kind]) {
    state.counters[kind] = { received: 0, drawn: 0, skipped: 0, dropped: 0, lastSequence: 0, lastStamp: 0, fps: 0, times: [] };
  }
  return state.counters[kind];
}

function onMessage(header, payload) {
  const kind = KIND_NAMES[header.kind];
  if (!kind) return;
  const c = counterOf(kind);
  // Sequence gaps are frames the server published while this page was busy.
  if (c.lastSequence && header.sequence > c.lastSequence + 1) c.skipped += header.sequence - c.lastSequence - 1;
  c.lastSequence = header.sequence;
  c.received += 1;
  c.dropped = header.dropped;
  c.lastStamp = header.frameStamp;
  const now = performance.now();
  c.times.push(now);
  while (c.times.length && now - c.times[0] > 1000) c.times.shift();
  c.fps = c.times.length;
  if (state.latest[kind]) {
    c.skipped += 1;  // replaced before it was drawn
    done(kind);
  }
  state.latest[kind] = { header, payload };
}

function done(kind) {
  state.acks[kind] = (state.acks[kind] || 0) + 1;
}

function imageFor(panel, width, height) {
  if (panel.canvas.width !== width || panel.canvas.height !== height) {
    panel.canvas.width = width;
    panel.canvas.height = height;
    panel.image = null;
  }
  if (!panel.image) panel.image = panel.context.createImageData(width, height);
  return panel.image;
}

function fillImage(header, payload, rgba) {
  const pixels = header.width * header.height;
  if (header.format === FORMAT.RGB24) {
    const src = new Uint8Array(payload);
    for (let i = 0, j = 0; i < pixels; ++i, j += 3) {
      rgba[i * 4] = src[j]; rgba[i * 4 + 1] = src[j + 1]; rgba[i * 4 + 2] = src[j + 2]; rgba[i * 4 + 3] = 255;
    }
  } else if (header.format === FORMAT.DEPTH16) {
    const src = new Uint16Array(payload);
    const bar = state.colourBar;
    const shift = state.depthShift;
    for (let i = 0; i < pixels; ++i) {
      const d = Math.min(src[i] >> shift, 4095) * 3;
      rgba[i * 4] = bar[d]; rgba[i * 4 + 1] = bar[d + 1]; rgba[i * 4 + 2] = bar[d + 2]; rgba[i * 4 + 3] = 255;
    }
  } else if (header.format === FORMAT.GRAY8) {
    const src = new Uint8Array(payload);
    for (let i = 0; i < pixels; ++i) {
      rgba[i * 4] = rgba[i * 4 + 1] = rgba[i * 4 + 2] = src[i]; rgba[i * 4 + 3] = 255;
    }
  } else if (header.format === FORMAT.GRAY16) {
    // Stretched to the frame's own brightest sample, as 16-bit infrared
    // rarely uses the top of its range.
    const src = new Uint16Array(payload);
    let top = 1;
    for (let i = 0; i < pixels; i += 7) top = Math.max(top, src[i]);
    const gain = 255 / top;
    for (let i = 0; i < pixels; ++i) {
      const v = Math.min(255, src[i] * gain);
      rgba[i * 4] = rgba[i * 4 + 1] = rgba[i * 4 + 2] = v; rgba[i * 4 + 3] = 255;
    }
  }
}

function colourOfZ(z) {
  const d = Math.min(4095, Math.max(0, Math.round(z / state.metresPerUnit))) * 3;
  const bar = state.colourBar;
  return [bar[d] / 255, bar[d + 1] / 255, bar[d + 2] / 255];
}

function recordLatency(stamp) {
  const latency = performance.now() * 1000 + state.clockOffsetUs - stamp;
  state.latencies.push(latency);
  if (state.latencies.length > 2000) state.latencies.splice(0, state.latencies.length - 2000);
}

function drawFrame() {
  for (const kind of Object.keys(state.latest)) {
    const { header, payload } = state.latest[kind];
    delete state.latest[kind];
    done(kind);
    const c = counterOf(kind);
    if (kind === 'cloud') {
      if (state.cloud && state.colourBar) {
        state.cloud.update(new Float32Array(payload), colourOfZ);
        $('cloud-stats').textContent = `${header.width} points  ${c.fps} fps`;
      }
      c.drawn += 1;
      continue;
    }
    const panel = state.panels[kind];
    if (!panel || !state.colourBar) continue;
    const image = imageFor(panel, header.width, header.height);
    fillImage(header, payload, image.data);
    panel.context.putImageData(image, 0, 0);
    c.drawn += 1;
    recordLatency(header.frameStamp);
    panel.stats.textContent =
      `${header.width}×${header.height}  ${c.fps} fps  dropped ${c.dropped + c.skipped}  #${header.frameNumber}  stamp ${(header.frameStamp / 1e6).toFixed(3)} s`;
  }
  if (state.stream && Object.keys(state.acks).length) {
    state.stream.acknowledge(state.acks);
    state.acks = {};
  }
  requestAnimationFrame(drawFrame);
}

// ---- stream, clock, report ----------------------------------------------

function connectStream() {
  if (state.stream) state.stream.close();
  state.acks = {};
  const kinds = ['color', 'depth', 'ir', 'lightir'];
  if ($('cloud-on').checked) kinds.push('cloud');
  const stream = new FrameStream(kinds, onMessage, (reason) => {
    if (state.stream !== stream) return;  // replaced on purpose
    state.stream = null;
    if (reason !== 'closed') {
      say('frame stream: ' + reason + '; retrying', true);
      setTimeout(connectStream, 2000);
    }
  });
  state.stream = stream;
}

async function syncClock() {
  // The best of a few round trips; on one machine the error is under a
  // millisecond.
  let best = null;
  for (let i = 0; i < 5; ++i) {
    const before = performance.now();
    const response = await fetch('/api/clock', { cache: 'no-store' }).catch(() => null);
    const after = performance.now();
    if (!response || !response.ok) continue;
    const server = Number(await response.text());
    if (best === null || after - before < best.rtt) {
      best = { rtt: after - before, offset: server - (before + after) / 2 * 1000 };
    }
  }
  if (best) state.clockOffsetUs = best.offset;
}

function percentile(sorted, p) {
  if (!sorted.length) return 0;
  return sorted[Math.min(sorted.length - 1, Math.floor(sorted.length * p))];
}

function report() {
  const sorted = state.latencies.slice().sort((a, b) => a - b);
  const streams = {};
  for (const kind of Object.keys(state.counters)) {
    const c = state.counters[kind];
    streams[kind] = { received: c.received, drawn: c.drawn, skipped: c.skipped, dropped: c.dropped, fps: c.fps };
  }
  const canvases = {};
  for (const name of Object.keys(state.panels)) {
    canvases[name] = [state.panels[name].canvas.width, state.panels[name].canvas.height];
  }
  const body = {
    streams, canvases,
    latency: { samples: sorted.length, medianUs: percentile(sorted, 0.5), p99Us: percentile(sorted, 0.99) },
    webgl: !!(state.cloud && state.cloud.available),
  };
  fetch('/api/report', { method: 'POST', headers: { 'Content-Type': 'application/json' }, body: JSON.stringify(body) }).catch(() => {});
}

// ---- device, properties, files -----------------------------------------

async function loadDevices() {
  const reply = await guarded(() => api('GET', '/api/devices'));
  if (!reply) return;
  const select = $('device');
  select.textContent = '';
  for (const device of reply.devices) {
    const option = document.createElement('option');
    option.value = device.address;
    option.textContent = `${device.name} (${device.serial}) ${device.address}`;
    select.appendChild(option);
  }
  select.value = reply.current;
}

async function loadDevice() {
  const reply = await guarded(() => api('GET', '/api/device'));
  const badge = $('connection');
  if (!reply || !reply.open) {
    badge.textContent = 'no camera';
    badge.className = 'badge';
    buildPanels([]);
    return;
  }
  badge.textContent = reply.connected ? 'live' : 'disconnected';
  badge.className = 'badge ' + (reply.connected ? 'live' : 'gone');
  buildPanels(reply.sensors);
  loadProperties();
}

async function loadProperties() {
  const reply = await guarded(() => api('GET', '/api/properties'));
  if (!reply) return;
  if (reply.depthUnit) {
    state.depthShift = reply.depthUnit.encoding === 1 ? 4 : reply.depthUnit.encoding === 2 ? 3 : 2;
    if (reply.depthUnit.metresPerUnit > 0) state.metresPerUnit = reply.depthUnit.metresPerUnit;
  }
  const body = $('properties').tBodies[0];
  body.textContent = '';
  for (const property of reply.properties) {
    const row = body.insertRow();
    row.insertCell().textContent = property.name || ('0x' + property.id.toString(16));
    const cell = row.insertCell();
    const input = document.createElement('input');
    input.type = 'number';
    input.min = property.minimum; input.max = property.maximum; input.step = property.step || 1;
    input.value = property.value !== undefined ? property.value : property.default;
    input.disabled = !property.writable;
    input.addEventListener('change', () => guarded(async () => {
      await api('POST', '/api/property', { id: property.id, value: Number(input.value) });
      say(`${property.name} = ${input.value}`);
    }));
    cell.appendChild(input);
    row.insertCell().textContent = `${property.minimum} … ${property.maximum}`;
  }
  const lines = Object.entries(reply.intrinsics).map(([s, k]) =>
    `${s}: fx ${k.fx.toFixed(1)} fy ${k.fy.toFixed(1)} cx ${k.cx.toFixed(1)} cy ${k.cy.toFixed(1)}`);
  $('intrinsics').textContent = lines.length ? lines.join('   ') : (reply.properties.length ? '' : 'this camera lists no properties');
}

async function snapshot() {
  const reply = await guarded(() => api('POST', '/api/snapshot', {}));
  if (reply) say('saved ' + reply.files.join(', '));
}

async function toggleRecording() {
  const button = $('record');
  if (!state.recording) {
    const reply = await guarded(() => api('POST', '/api/record/start', {}));
    if (!reply) return;
    state.recording = true;
    say('recording to ' + reply.path);
  } else {
    const reply = await guarded(() => api('POST', '/api/record/stop', {}));
    state.recording = false;
    if (reply) say(`recorded ${reply.path} (${reply.bytes} bytes)`);
  }
  button.textContent = state.recording ? 'Stop recording' : 'Record';
  button.classList.toggle('on', state.recording);
}

async function start() {
  const response = await fetch('/api/colourbar').catch(() => null);
  if (response && response.ok) state.colourBar = new Uint8Array(await response.arrayBuffer());
  state.cloud = new CloudView($('cloud'));
  if (!state.cloud.available) $('cloud-stats').textContent = 'WebGL is not available in this browser';
  $('snapshot').addEventListener('click', snapshot);
  $('record').addEventListener('click', toggleRecording);
  $('cloud-on').addEventListener('change', connectStream);
  $('cloud-reset').addEventListener('click', () => { state.cloud.reset(); state.cloud.draw(); });
  $('device').addEventListener('change', () => guarded(async () => {
    await api('POST', '/api/device', { address: $('device').value });
    await loadDevice();
    say('opened ' + $('device').value);
  }));
  await loadDevices();
  await loadDevice();
  // ?start=depth,color&cloud=1 starts streams at once: a link that opens on
  // a running view, and what the tests use.
  const query = new URLSearchParams(location.search);
  if (query.get('cloud') === '1') $('cloud-on').checked = true;
  for (const name of (query.get('start') || '').split(',')) {
    if (state.panels[name] && !state.panels[name].running) await setRunning(name, true);
  }
  await syncClock();
  connectStream();
  requestAnimationFrame(drawFrame);
  // A page kept in the back-forward cache is frozen but would hold its
  // stream (and one of the server's page places) open; let go, and come
  // back when shown again.
  window.addEventListener('pagehide', () => { if (state.stream) state.stream.close(); });
  window.addEventListener('pageshow', (e) => { if (e.persisted) connectStream(); });
  setInterval(report, 1000);
  setInterval(syncClock, 10000);
}

start();
