'use strict';
// Draws what is in sight: a canvas for the timeline, and as many rows of the list as fit the window.
const data = JSON.parse(document.getElementById('data').textContent);
document.getElementById('data').remove();  // its text is as large as the log
const ROW = 18, LANE = 46, HEAD = 26, NAMES = 130, PART = 300000;
const LINE = 0, BEACON = 1, TIMER = 2, REFUSAL = 3;
const WORK = 0, SERVED = 1, UNANSWERED = 2, REFUSED = 3;
const CLASSES = ['work', 'served', 'unanswered', 'refused'], SIGNS = ['', '✓', '?', '✗'];
const byId = id => document.getElementById(id);

// All logs on one axis: lanes of one below those of the other, lines in the order of their times.
const lanes = [], lines = [], spans = [];
for (const [number, log] of data.logs.entries()) {
  const first = lanes.length;
  for (const name of log.lanes) lanes.push({name: data.logs.length > 1 ? `${number + 1}: ${name}` : name, shown: true});
  let time = log.start;
  const own = [];
  for (let i = 0; i < log.text.length; ++i) {
    time += log.step[i];
    own.push({time, lane: first + log.lane[i], kind: log.kind[i], beat: log.beat[i] === 1,
              origin: log.functions[log.origin[i]], source: log.source[i], text: log.text[i]});
  }
  for (const one of own) lines.push(one);
  for (const [lane, from, to, kind, open, name, words] of log.spans) {
    spans.push({lane: first + lane, from: own[from], to: own[to], kind, open: open === 1, name, words});
  }
}
if (data.logs.length > 1) lines.sort((a, b) => a.time - b.time);
for (let i = 0; i < lines.length; ++i) lines[i].at = i;

// The axis is not even: a step grows with the logarithm of the time between two moments.
let place = 0;
for (let i = 0; i < lines.length; ++i) {
  const passed = i === 0 ? 0 : lines[i].time - lines[i - 1].time;
  if (passed > 0) place += 12 + 6 * Math.log2(passed + 1);
  lines[i].x = place;
}
const whole = Math.max(place, 1);
// Spans of a lane that lie over each other take the next of two rows.
{
  const ends = new Map();
  for (const span of spans) {
    const key = span.lane;
    const rows = ends.get(key) || [-1, -1];
    span.row = span.from.x >= rows[0] ? 0 : 1;
    rows[span.row] = Math.max(rows[span.row], span.to.x);
    ends.set(key, rows);
  }
}

const two = n => String(n).padStart(2, '0');
function clock(ms) {
  const t = ms % 86400000;
  return `${two(Math.floor(t / 3600000))}:${two(Math.floor(t / 60000) % 60)}:${two(Math.floor(t / 1000) % 60)}.${String(t % 1000).padStart(3, '0')}`;
}

let shown = lines, wanted = '', beats = false, chosen = null, left = 0, right = whole;
const fits = line => lanes[line.lane].shown && (beats || !line.beat) &&
  (wanted === '' || (line.text + '\n' + line.origin).toLowerCase().includes(wanted));
function sift() {
  wanted = byId('filter').value.toLowerCase();
  beats = byId('heartbeats').checked;
  shown = lines.filter(fits);
  for (const line of lines) line.row = -1;
  shown.forEach((line, row) => { line.row = row; });
  byId('count').textContent = `${shown.length} of ${lines.length} lines`;
  // A browser has a largest height for an element, above which the list moves in parts.
  byId('room').style.height = Math.min(shown.length, PART) * ROW + 'px';
  draw();
}

// ---- the list ----
const list = byId('lines'), room = byId('room');
let base = 0;
function rowOfScroll() {
  return base + Math.floor(list.scrollTop / ROW);
}
function drawList() {
  const first = Math.max(0, rowOfScroll() - 4), count = Math.ceil(list.clientHeight / ROW) + 8;
  const rows = [];
  for (let row = first; row < Math.min(first + count, shown.length); ++row) {
    const line = shown[row], div = document.createElement('div');
    div.className = 'line' + (line.kind === REFUSAL ? ' refusal' : line.kind === BEACON ? ' beacon' : '') +
      (line === chosen ? ' chosen' : '');
    div.style.top = (row - base) * ROW + 'px';
    div.setAttribute('role', 'option');
    div.setAttribute('aria-selected', line === chosen);
    for (const text of [clock(line.time), lanes[line.lane].name,
                        line.origin ? `${line.origin}(${line.source})` : '', line.text]) {
      div.appendChild(document.createElement('span')).textContent = text;
    }
    div.title = line.text;
    div.addEventListener('click', () => choose(line, true));
    rows.push(div);
  }
  room.replaceChildren(...rows);
}
list.addEventListener('scroll', () => requestAnimationFrame(drawList));
list.addEventListener('keydown', event => {
  const step = {ArrowDown: 1, ArrowUp: -1, PageDown: 20, PageUp: -20}[event.key];
  if (step && shown.length) {
    const row = chosen && chosen.row >= 0 ? chosen.row : 0;
    choose(shown[Math.min(Math.max(row + step, 0), shown.length - 1)], true);
    event.preventDefault();
  }
});

// Marks a line in the list and in the chart. The one that was not clicked moves there.
function choose(line, fromList) {
  chosen = line;
  if (line.row >= 0) {
    const row = line.row;
    if (row < base || row >= base + PART) base = Math.max(0, Math.floor(row - PART / 2));
    const top = (row - base) * ROW;
    if (!fromList || top < list.scrollTop || top > list.scrollTop + list.clientHeight - ROW) {
      list.scrollTop = top - list.clientHeight / 3;
    }
  }
  if (fromList && (line.x < left || line.x > right)) {
    const width = right - left;
    left = Math.max(0, Math.min(line.x - width / 2, whole - width));
    right = left + width;
  }
  byId('tip').textContent = `${clock(line.time)} ${line.origin} ${line.text}`;
  draw();
}

// ---- the chart ----
const chart = byId('chart'), overview = byId('overview');
let hits = [];
function canvasOf(element, height) {
  const ratio = window.devicePixelRatio || 1, width = element.clientWidth || document.body.clientWidth;
  element.style.height = height + 'px';
  element.width = Math.round(width * ratio);
  element.height = Math.round(height * ratio);
  const pen = element.getContext('2d');
  pen.scale(ratio, ratio);
  pen.font = '11px "Segoe UI", "DejaVu Sans", sans-serif';
  return [pen, width];
}
function colours() {
  const style = getComputedStyle(document.documentElement);
  return name => style.getPropertyValue('--' + name);
}
function firstAfter(x) {
  let low = 0, high = lines.length;
  while (low < high) {
    const middle = (low + high) >> 1;
    if (lines[middle].x < x) low = middle + 1; else high = middle;
  }
  return low;
}
function drawChart() {
  const sight = lanes.filter(lane => lane.shown), colour = colours();
  const [pen, width] = canvasOf(chart, HEAD + Math.max(sight.length, 1) * LANE);
  const scale = Math.max(width - NAMES - 60, 10) / Math.max(right - left, 0.001), toX = x => NAMES + (x - left) * scale;
  sight.forEach((lane, i) => { lane.y = HEAD + i * LANE; });
  hits = [];
  pen.fillStyle = colour('soft');
  let last = -1e9;
  for (let i = firstAfter(left); i < lines.length && lines[i].x <= right; ++i) {
    const x = toX(lines[i].x);
    if (x - last < 90) continue;
    last = x;
    pen.fillStyle = colour('grid');
    pen.fillRect(x, HEAD, 1, sight.length * LANE);
    pen.fillStyle = colour('soft');
    pen.fillText(clock(lines[i].time), x, 11);
    pen.fillText(`+${((lines[i].time - lines[0].time) / 1000).toFixed(3)} s`, x, 23);
    // The next that can be far enough away.
    i = Math.max(i, firstAfter(lines[i].x + 60 / scale) - 1);
  }
  pen.save();
  pen.beginPath();
  pen.rect(NAMES, 0, width, HEAD + sight.length * LANE);
  pen.clip();
  const taken = new Map();
  for (const span of spans) {
    const lane = lanes[span.lane];
    if (!lane.shown || span.to.x < left || span.from.x > right || (wanted !== '' && span.from.row < 0 && span.to.row < 0)) continue;
    const x = toX(span.from.x), wide = Math.max(toX(span.to.x) - x, 5), y = lane.y + 3 + span.row * 14;
    // What begins at the same point as one that is drawn already is hidden by it.
    const key = span.lane + ':' + span.row;
    if (wide <= 5 && taken.get(key) === Math.round(x) && span.kind <= SERVED) continue;
    taken.set(key, Math.round(x));
    pen.fillStyle = colour(CLASSES[span.kind]);
    pen.strokeStyle = colour(CLASSES[span.kind] + '-edge');
    pen.setLineDash(span.open ? [3, 2] : []);
    pen.fillRect(x, y, wide, 13);
    pen.strokeRect(x + 0.5, y + 0.5, wide, 12);
    pen.setLineDash([]);
    pen.fillStyle = colour('text');
    const words = (SIGNS[span.kind] + ' ' + span.name).trim(), length = pen.measureText(words).width;
    if (length < wide - 6) pen.fillText(words, Math.max(x, NAMES) + 3, y + 10);
    else if (SIGNS[span.kind] && wide > 12) pen.fillText(SIGNS[span.kind], x + 3, y + 10);
    hits.push({x, y, wide, high: 13, span});
  }
  const drawn = new Set();
  for (let i = firstAfter(left); i < lines.length && lines[i].x <= right; ++i) {
    const line = lines[i], lane = lanes[line.lane];
    if (line.row < 0 || !lane.shown) continue;
    const x = toX(line.x), y = lane.y + LANE - 8, key = line.lane + ':' + line.kind + ':' + Math.round(x);
    if (drawn.has(key)) continue;
    drawn.add(key);
    pen.beginPath();
    if (line.kind === LINE) {
      pen.fillStyle = colour('tick');
      pen.fillRect(x, y - 4, 1, 8);
    } else if (line.kind === BEACON) {
      pen.fillStyle = colour('beacon');
      pen.moveTo(x, y - 6); pen.lineTo(x + 5, y); pen.lineTo(x, y + 6); pen.lineTo(x - 5, y); pen.fill();
    } else if (line.kind === TIMER) {
      pen.fillStyle = colour('timer');
      pen.moveTo(x - 5, y + 5); pen.lineTo(x + 5, y + 5); pen.lineTo(x, y - 5); pen.fill();
    } else {
      pen.fillStyle = colour('refused-edge');
      pen.arc(x, y, 5, 0, 7); pen.fill();
    }
    hits.push({x: x - 5, y: y - 6, wide: 10, high: 12, line});
  }
  if (chosen) {
    pen.fillStyle = colour('refused-edge');
    pen.fillRect(toX(chosen.x), HEAD, 1, sight.length * LANE);
  }
  pen.restore();
  pen.fillStyle = colour('text');
  for (const lane of sight) {
    pen.fillText(lane.name, 16, lane.y + 20, NAMES - 24);
    pen.fillStyle = colour('grid');
    pen.fillRect(0, lane.y + LANE - 1, width, 1);
    pen.fillStyle = colour('text');
  }
}
function drawOverview() {
  const [pen, width] = canvasOf(overview, 36), colour = colours(), scale = (width - 32) / whole;
  const columns = new Float64Array(Math.max(1, Math.ceil(width)));
  for (const line of shown) ++columns[Math.round(16 + line.x * scale)];
  const most = columns.reduce((a, b) => Math.max(a, b), 1);
  pen.fillStyle = colour('tick');
  columns.forEach((count, x) => {
    if (count) { const high = 3 + 25 * Math.sqrt(count / most); pen.fillRect(x, 32 - high, 1, high); }
  });
  pen.fillStyle = colour('refused-edge');
  for (const line of shown) if (line.kind === REFUSAL) pen.fillRect(16 + line.x * scale, 2, 2, 4);
  pen.strokeStyle = colour('timer');
  pen.lineWidth = 2;
  pen.strokeRect(16 + left * scale, 1, Math.max((right - left) * scale, 3), 33);
}
function draw() {
  drawOverview();
  drawChart();
  drawList();
}
function zoom(factor, around = (left + right) / 2) {
  const width = Math.min(Math.max((right - left) * factor, 20), whole);
  left = Math.max(0, Math.min(around - (around - left) * width / (right - left), whole - width));
  right = left + width;
  draw();
}
const toPlace = event => left + (event.offsetX - NAMES) * (right - left) / Math.max(chart.clientWidth - NAMES - 60, 10);
chart.addEventListener('wheel', event => {
  if (event.ctrlKey || event.shiftKey || Math.abs(event.deltaX) > Math.abs(event.deltaY)) {
    const by = (event.deltaX || event.deltaY) * (right - left) / 1000;
    const width = right - left;
    left = Math.max(0, Math.min(left + by, whole - width));
    right = left + width;
    draw();
  } else zoom(event.deltaY > 0 ? 1.25 : 0.8, toPlace(event));
  event.preventDefault();
}, {passive: false});
let held = null;
chart.addEventListener('mousedown', event => { held = {x: event.offsetX, left, moved: false}; });
window.addEventListener('mouseup', () => { held = null; });
const hitAt = event => {
  for (let i = hits.length - 1; i >= 0; --i) {
    const hit = hits[i];
    if (event.offsetX >= hit.x && event.offsetX <= hit.x + hit.wide && event.offsetY >= hit.y && event.offsetY <= hit.y + hit.high) return hit;
  }
  return null;
};
chart.addEventListener('mousemove', event => {
  if (held && Math.abs(event.offsetX - held.x) > 3) {
    held.moved = true;
    const width = right - left;
    left = Math.max(0, Math.min(held.left - (event.offsetX - held.x) * width / Math.max(chart.clientWidth - NAMES - 60, 10), whole - width));
    right = left + width;
    draw();
    return;
  }
  const hit = hitAt(event);
  if (hit) byId('tip').textContent = hit.span ? `${hit.span.name}, ${hit.span.words}` : `${clock(hit.line.time)} ${hit.line.origin} ${hit.line.text}`;
});
chart.addEventListener('click', event => {
  const hit = held && held.moved ? null : hitAt(event);
  if (hit) choose(hit.span ? hit.span.from : hit.line, false);
});
overview.addEventListener('click', event => {
  const middle = (event.offsetX - 16) * whole / (overview.clientWidth - 32), width = Math.min(right - left, whole / 4);
  left = Math.max(0, Math.min(middle - width / 2, whole - width));
  right = left + width;
  draw();
});
byId('in').addEventListener('click', () => zoom(0.5));
byId('out').addEventListener('click', () => zoom(2));
byId('all').addEventListener('click', () => { left = 0; right = whole; draw(); });
byId('filter').addEventListener('input', sift);
byId('heartbeats').addEventListener('change', sift);

for (const lane of lanes) {
  const label = byId('lanes').lastElementChild.appendChild(document.createElement('label'));
  const box = label.appendChild(document.createElement('input'));
  box.type = 'checkbox';
  box.checked = true;
  label.append(' ' + lane.name);
  box.addEventListener('change', () => { lane.shown = box.checked; sift(); });
}
// Links to the requests, for the keyboard and for screen readers; of a large log the first of them.
const asked = spans.filter(span => span.kind !== WORK), MOST = 2000;
byId('requests').firstElementChild.textContent =
  `Requests: ${asked.length}, of which ${asked.filter(span => span.kind !== SERVED).length} without a reply`;
byId('requests').addEventListener('toggle', () => {
  const items = byId('requests').lastElementChild;
  if (items.childElementCount) return;
  for (const span of asked.slice(0, MOST)) {
    const link = items.appendChild(document.createElement('li')).appendChild(document.createElement('a'));
    link.href = '#l' + span.from.at;
    link.textContent = `${clock(span.from.time)} ${span.name}: ${span.words}`;
    link.addEventListener('click', event => { choose(span.from, true); event.preventDefault(); });
  }
});
// "#find=TEXT" opens the page with a filter set, "#lN" at a line, "#requests" with the links open.
if (location.hash.startsWith('#find=')) byId('filter').value = decodeURIComponent(location.hash.slice(6));
if (location.hash === '#requests') byId('requests').open = true;
if (location.hash === '#heartbeats') byId('heartbeats').checked = true;
sift();
if (/^#l\d+$/.test(location.hash) && lines[location.hash.slice(2)]) choose(lines[location.hash.slice(2)], true);
window.addEventListener('resize', draw);
matchMedia('(prefers-color-scheme: dark)').addEventListener('change', draw);
document.body.dataset.drawnMs = Math.round(performance.now());
