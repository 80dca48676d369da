// The search screens of navdb serve: every screen asks the JSON API of the server it came from.
'use strict';

const $ = (id) => document.getElementById(id);
const PAGE = 20;  // records of the first page of a result list

function el(tag, attrs = {}, ...children) {
  const e = document.createElement(tag);
  for (const [k, v] of Object.entries(attrs)) {
    if (k.startsWith('on')) e.addEventListener(k.slice(2), v);
    else if (v !== false && v !== undefined) e.setAttribute(k, v === true ? '' : v);
  }
  e.append(...children);
  return e;
}

// GET /api/<route> with the parameters; the JSON answer, or an Error carrying the server's message.
async function api(route, params = {}) {
  const q = new URLSearchParams(Object.entries(params).filter(([, v]) => v !== '' && v !== undefined));
  const res = await fetch(`/api/${route}?${q}`);
  const body = await res.json();
  if (!res.ok && body.error) throw new Error(body.error);
  return body;
}

// Runs `task` for a screen; an answer older than the screen's latest request is dropped.
const latest = {};
async function run(screen, task, show) {
  const ticket = (latest[screen] = (latest[screen] || 0) + 1);
  try {
    const answer = await task();
    if (ticket === latest[screen]) show(answer);
  } catch (e) {
    if (ticket === latest[screen]) $(`${screen}-count`).replaceChildren(el('span', {class: 'error'}, e.message));
  }
}

// ---- the point distances are measured from (the vicinity screen's point) ----

function point() {
  return {lat: parseFloat($('near-lat').value), lon: parseFloat($('near-lon').value)};
}

function metres(a, b) {
  const r = Math.PI / 180, s1 = Math.sin((b.lat - a.lat) * r / 2), s2 = Math.sin((b.lon - a.lon) * r / 2);
  const h = s1 * s1 + Math.cos(a.lat * r) * Math.cos(b.lat * r) * s2 * s2;
  return Math.round(12742000 * Math.asin(Math.sqrt(h)));
}

function distanceText(m) {
  return m < 1000 ? `${m} m` : `${(m / 1000).toFixed(1)} km`;
}

// A result table: name, address (the record's further texts, when any has them), telephone,
// distance (from the vicinity point unless the search measured it), genre.
function poiTable(table, pois) {
  const here = point(), texts = pois.some((p) => (p.texts || []).length > 1);
  const rows = pois.map((p) => {
    const d = p.distance !== undefined ? p.distance : p.lat ? metres(here, p) : undefined;
    return el('tr', {},
      el('td', {}, p.name || ''),
      texts ? el('td', {}, (p.texts || []).slice(1).join(' ')) : '',
      el('td', {}, p.tel || ''),
      el('td', {class: 'num'}, d === undefined ? '' : distanceText(d)),
      el('td', {}, (p.genre || []).filter((g) => g !== 255).join('/')));
  });
  const columns = ['name', ...(texts ? ['address'] : []), 'telephone', 'distance', 'genre'];
  table.replaceChildren(el('tr', {}, ...columns.map((h) => el('th', {}, h))), ...rows);
}

// ---- reading: the 50-sound keyboard follows the key states of the typed reading ----

const KEY_COLUMNS = ['アイウエオ', 'カキクケコ', 'サシスセソ', 'タチツテト', 'ナニヌネノ', 'ハヒフヘホ',
  'マミムメモ', 'ヤ ユ ヨ', 'ラリルレロ', 'ワ ヲ ン', 'ー゛゜  '];
const hiragana = (k) => (k >= 'ァ' && k <= 'ヶ' ? String.fromCharCode(k.charCodeAt(0) - 0x60) : k);
let reading = '';

function buildKeyboard() {
  const board = $('keyboard');
  for (let row = 0; row < 5; ++row) {
    for (const column of KEY_COLUMNS) {
      const k = column[row];
      if (k === ' ') { board.append(el('span', {class: 'gap'})); continue; }
      board.append(el('button', {'data-key': k, disabled: true, onclick: () => type(k)}, hiragana(k)));
    }
    const edit = [['←', 'delete', () => setReading([...reading].slice(0, -1).join(''))],
      ['clear', 'clear', () => setReading('')]][row];
    board.append(edit ? el('button', {class: 'edit', 'data-edit': edit[1], onclick: edit[2]}, edit[0])
      : el('span', {class: 'gap'}));
  }
}

// A voiced or semi-voiced mark joins the kana before it where they form one character.
function type(k) {
  if ((k === '゛' || k === '゜') && reading) {
    const joined = (reading.slice(-1) + (k === '゛' ? '\u3099' : '\u309A')).normalize('NFC');
    if (joined.length === 1) return setReading(reading.slice(0, -1) + joined);
  }
  setReading(reading + hiragana(k));
}

function setReading(text) {
  reading = text;
  $('kana-text').textContent = reading;
  run('kana', () => api('kana', {reading, limit: PAGE}), (a) => {
    const next = new Set(a.next);
    for (const b of document.querySelectorAll('#keyboard [data-key]')) b.disabled = !next.has(b.dataset.key);
    $('keyboard').dataset.reading = a.reading;  // the reading the key states belong to
    $('kana-complete').textContent = a.complete ? 'complete reading' : '';
    $('kana-count').textContent = reading ? `${a.count} matches` : 'type a reading';
    poiTable($('kana-list'), reading ? a.pois : []);
  });
}

// ---- genre: level by level, the codes of the next level with their counts ----

let genreLevels = [];

function setGenre(levels) {
  genreLevels = levels;
  const crumbs = [el('button', {onclick: () => setGenre([])}, 'all')];
  levels.forEach((g, i) => crumbs.push(el('button', {onclick: () => setGenre(levels.slice(0, i + 1))}, String(g))));
  $('genre-path').replaceChildren(...crumbs);
  run('genre', () => api('genre', {levels: levels.join(','), limit: PAGE}), (a) => {
    $('genre-codes').replaceChildren(...a.next.map((n) =>
      el('button', {onclick: () => setGenre([...levels, n.code])}, `${n.code} `, el('small', {}, `(${n.count})`))));
    $('genre-count').textContent = levels.length ? `${a.count} POIs of genre ${levels.join('/')}` : 'choose a genre';
    poiTable($('genre-list'), a.pois);
  });
}

// ---- address: prefecture to house number ----

let addressPath = [];

function setAddress(path, names) {
  addressPath = path;
  const crumbs = [el('button', {onclick: () => setAddress([], [])}, 'Japan')];
  path.forEach((_, i) => crumbs.push(el('button', {onclick: () => setAddress(path.slice(0, i + 1), names.slice(0, i + 1))}, names[i])));
  $('address-path').replaceChildren(...crumbs);
  run('address', () => api('address', {path: path.join('/'), limit: 500}), (a) => {
    const text = [a.address || 'choose a prefecture'];
    if (a.complete) text.push(' (complete)');
    if (a.lat) {
      text.push(` ${a.lat.toFixed(5)}, ${a.lon.toFixed(5)} `,
        el('button', {onclick: () => nearAt(a.lat, a.lon)}, 'search around'));
    }
    $('address-text').replaceChildren(...text);
    $('address-items').replaceChildren(...a.items.map((it) =>
      el('button', {disabled: !it.enabled, onclick: () => setAddress([...path, it.position], [...names, it.name])},
        it.name, it.below ? el('small', {}, ` ${it.below}`) : '')));
  });
}

// ---- telephone ----

function searchPhone(e) {
  e.preventDefault();
  const params = {number: $('phone-number').value, reading: $('phone-reading').value, limit: PAGE};
  run('phone', () => api('phone', params), (a) => {
    $('phone-count').textContent = `${a.kind}: ${a.count} records` + (a.matched !== undefined ? `, ${a.matched} of that reading` : '');
    poiTable($('phone-list'), a.kind === 'area' ? a.records.map((r) => ({...r, name: 'area point'})) : a.records);
  });
}

// ---- vicinity: a typed or clicked point, the hits drawn around it ----

let nearHits = [];

function nearAt(lat, lon) {
  $('near-lat').value = lat.toFixed(6);
  $('near-lon').value = lon.toFixed(6);
  showTab('near');
  searchNear();
}

// Canvas pixels per metre east and north of the point: the search circle fills 90 %.
function scale() {
  const c = $('near-map');
  return 0.45 * c.width / Math.max(1, parseFloat($('near-radius').value) || 3000);
}

function drawNear() {
  const c = $('near-map'), g = c.getContext('2d'), here = point(), s = scale();
  const cx = c.width / 2, cy = c.height / 2, k = Math.cos(here.lat * Math.PI / 180) * 111320;
  g.clearRect(0, 0, c.width, c.height);
  g.strokeStyle = '#9bb'; g.beginPath(); g.arc(cx, cy, 0.45 * c.width, 0, 2 * Math.PI); g.stroke();
  g.strokeStyle = '#c33'; g.beginPath(); g.moveTo(cx - 8, cy); g.lineTo(cx + 8, cy); g.moveTo(cx, cy - 8); g.lineTo(cx, cy + 8); g.stroke();
  g.font = '12px sans-serif';
  nearHits.forEach((p, i) => {
    const x = cx + (p.lon - here.lon) * k * s, y = cy - (p.lat - here.lat) * 110950 * s;
    g.fillStyle = '#2563a8'; g.beginPath(); g.arc(x, y, 4, 0, 2 * Math.PI); g.fill();
    g.fillStyle = '#222'; g.fillText(`${i + 1} ${p.name}`, x + 6, y + 4);
  });
}

function searchNear(e) {
  if (e) e.preventDefault();
  const here = point();
  const params = {lat: here.lat, lon: here.lon, radius: $('near-radius').value, genre: $('near-genre').value, limit: PAGE};
  run('near', () => api('near', params), (a) => {
    nearHits = a.pois;
    $('near-count').textContent = `${a.count} POIs of class ${params.genre} within ${params.radius} m`;
    $('near-classes').replaceChildren('classes within 20 km: ', ...a.classes_within_20km.map((g) =>
      el('button', {onclick: () => { $('near-genre').value = g; searchNear(); }}, String(g))));
    poiTable($('near-list'), a.pois);
    drawNear();
  });
}

function clickNear(e) {
  const c = $('near-map'), r = c.getBoundingClientRect(), here = point(), s = scale();
  const dx = (e.clientX - r.left) * c.width / r.width - c.width / 2;
  const dy = (e.clientY - r.top) * c.height / r.height - c.height / 2;
  nearAt(here.lat - dy / s / 110950, here.lon + dx / s / (Math.cos(here.lat * Math.PI / 180) * 111320));
}

// ---- pictures and sign posts ----

async function listPictures() {
  const a = await api('pictures');
  $('picture-kinds').replaceChildren(...a.kinds.flatMap((k) => [
    el('h3', {}, k.word),
    el('div', {class: 'choices'}, ...k.numbers.map((n) =>
      el('button', {'data-kind': k.word, onclick: () => showPicture(k, n)}, String(n))), k.more ? ' …' : '')]));
}

function showPicture(k, number) {
  const img = $('picture');
  const src = k.word === 'SAPA' ? `/api/sapamap?number=${number}`
    : `/api/image?${new URLSearchParams({kind: k.kind, number, name1: $('picture-name1').value,
      name2: $('picture-name2').value, direction: $('picture-direction').value})}`;
  img.onload = () => { $('picture-caption').textContent = `${k.word} ${number}: ${img.naturalWidth} × ${img.naturalHeight}`; };
  img.onerror = () => { $('picture-caption').textContent = `${k.word} ${number}: no picture`; };
  img.alt = `${k.word} ${number}`;
  img.src = src;
}

// ---- tabs ----

function showTab(name) {
  for (const b of document.querySelectorAll('#tabs button')) b.classList.toggle('on', b.dataset.tab === name);
  for (const s of document.querySelectorAll('.tab')) s.classList.toggle('on', s.id === name);
  if (name === 'near') drawNear();
}

buildKeyboard();
for (const b of document.querySelectorAll('#tabs button')) b.addEventListener('click', () => showTab(b.dataset.tab));
$('phone-form').addEventListener('submit', searchPhone);
$('near-form').addEventListener('submit', searchNear);
$('near-map').addEventListener('click', clickNear);
setReading('');
setGenre([]);
setAddress([], []);
searchNear();
listPictures().catch(() => {});
api('version').then((v) => { $('release').textContent = `data ${v.release} · engine ${v.engine}`; }).catch(() => {});
