// The page: it shows what the server knows of a station and tells it what the listener does. All text from the catalogue goes into text
// nodes and attributes, never into markup. The address's fragment names the station, so that a reload or another tab goes on with it.

const $ = (id) => document.getElementById(id);

/** An element with attributes and children; texts become text nodes. */
function make(name, attributes = {}, ...children) {
  const element = document.createElement(name);
  for (const [key, value] of Object.entries(attributes)) {
    if (key.startsWith("on")) element.addEventListener(key.slice(2), value);
    else if (value === true) element.setAttribute(key, "");
    else if (value !== false && value != null) element.setAttribute(key, value);
  }
  element.append(...children.filter((child) => child != null));
  return element;
}

function draw(name, attributes = {}, ...children) {
  const element = document.createElementNS("http://www.w3.org/2000/svg", name);
  for (const [key, value] of Object.entries(attributes)) element.setAttribute(key, value);
  element.append(...children.filter((child) => child != null));
  return element;
}

const time = (seconds) => `${Math.floor(seconds / 60)}:${String(Math.floor(seconds % 60)).padStart(2, "0")}`;

/** Says something in passing; what stays true, like a server that is away, is said until it isn't. */
function tell(text, stays = false) {
  clearTimeout(tell.timer);
  $("status").textContent = text;
  if (text && !stays) tell.timer = setTimeout(() => tell(""), 8000);
}

// ---- The server -----------------------------------------------------------------------------------------------------

class Refused extends Error {
  constructor(status, error) {
    super(error.next ? `${error.what}: ${error.next}` : error.what);
    this.status = status;
  }
}

const wait = (milliseconds) => new Promise((done) => setTimeout(done, milliseconds));

/** Asks the server; while it doesn't answer, again and again, a little later every time. */
async function ask(method, address, body, signal) {
  for (let pause = 500; ; pause = Math.min(pause * 2, 8000)) {
    let response;
    try {
      const options = { method, signal, headers: {} };
      if (method !== "GET") {
        options.headers["Content-Type"] = "application/json";
        options.body = JSON.stringify(body ?? {});
      }
      response = await fetch(address, options);
    } catch (failed) {
      if (failed.name === "AbortError") throw failed;
      tell("The server doesn't answer. Trying again…", true);
      await wait(pause);
      continue;
    }
    if (pause > 500) tell("");
    if (response.status === 204) return null;
    const told = await response.json().catch(() => ({ error: { what: "The server's answer isn't understood" } }));
    if (response.ok) return told;
    if (response.status === 401) show("sign-in");
    throw new Refused(response.status, told.error);
  }
}

/** Runs what may be refused, and says so. */
async function attempt(work) {
  try {
    return await work();
  } catch (failed) {
    if (failed.name !== "AbortError") tell(failed.message);
    return undefined;
  }
}

// ---- Views ----------------------------------------------------------------------------------------------------------

let view = null;

/** Focus goes along to the new view's heading, but for the first one: a page begins at its top. */
function show(name) {
  const moved = view !== null && view !== name;
  view = name;
  for (const one of ["sign-in", "start", "player"]) $(`${one}-view`).hidden = one !== name;
  if (name !== "player") document.title = "cadenz";
  if (moved) document.querySelector(`#${name}-view h1`).focus();
  paintBar();
}

async function route() {
  const id = location.hash.slice(1);
  tell("");
  if (!id) return openStart();
  if (id === playing.station) return enter(playing.state);
  const state = await attempt(() => ask("GET", `/api/stations/${encodeURIComponent(id)}`));
  if (id !== location.hash.slice(1)) return undefined;
  if (state) return goOn(state);
  if (view === "sign-in") return undefined;
  history.replaceState(null, "", "#");
  const why = $("status").textContent;
  await openStart();
  return tell(why);
}

// ---- Start ----------------------------------------------------------------------------------------------------------

const chosen = { seeds: [], filters: [] };
let settings = [], catalogue = {};

const byline = (item) => (item.kind === "artist" ? item.artist : item.title);

function paintChips() {
  const chip = (label, remove) =>
    make("button", { type: "button", "aria-label": `Remove ${label}`, onclick: () => { remove(); paintChips(); } }, `${label} ×`);
  $("chips").replaceChildren(
    ...chosen.seeds.map((seed) => chip(`${byline(seed)} (${seed.kind})`, () => chosen.seeds.splice(chosen.seeds.indexOf(seed), 1))),
    ...chosen.filters.map((one) => chip(`${one.name} (${one.kind})`, () => chosen.filters.splice(chosen.filters.indexOf(one), 1))));
  const some = chosen.seeds.length + chosen.filters.length > 0;
  $("play-station").disabled = !some;
  $("play-hint").hidden = some;
  for (const button of document.querySelectorAll(".picks button"))
    button.setAttribute("aria-pressed", String(chosen.filters.some((one) => one.kind === button.dataset.kind && one.name === button.dataset.name)));
}

function choose(item) {
  if (chosen.seeds.some((seed) => seed.id === item.id && seed.kind === item.kind)) return;
  if (chosen.seeds.length === 6) return tell("Six seeds are the most: remove one first.");
  chosen.seeds.push(item);
  paintChips();
}

function toggleFilter(kind, name, keep = false) {
  const at = chosen.filters.findIndex((one) => one.kind === kind && one.name === name);
  if (at >= 0 && !keep) chosen.filters.splice(at, 1);
  else if (at < 0) chosen.filters.push({ kind, name });
  paintChips();
}

const search = { items: [], at: -1, running: null, timer: 0 };

function closeFound() {
  clearTimeout(search.timer);
  search.running?.abort();
  $("found").hidden = true;
  $("search").setAttribute("aria-expanded", "false");
  $("search").removeAttribute("aria-activedescendant");
  search.at = -1;
}

function take(item) {
  choose(item);
  $("search").value = "";
  closeFound();
}

function markFound(at) {
  search.at = at;
  [...$("found").children].forEach((row, i) => row.setAttribute("aria-selected", String(i === at)));
  if (at < 0) return $("search").removeAttribute("aria-activedescendant");
  $("search").setAttribute("aria-activedescendant", `found-${at}`);
  $(`found-${at}`).scrollIntoView({ block: "nearest" });
}

async function lookFor(text) {
  search.running?.abort();
  if (!text.trim()) return closeFound();
  search.running = new AbortController();
  const found = await attempt(() => ask("GET", `/api/search?limit=6&q=${encodeURIComponent(text)}`, null, search.running.signal));
  if (!found) return;
  search.items = [...found.artists, ...found.albums, ...found.tracks];
  $("found").replaceChildren(...search.items.map((item, i) =>
    make("li", { role: "option", id: `found-${i}`, "aria-selected": "false", onmousedown: (event) => { event.preventDefault(); take(item); } },
      make("span", { class: "kind" }, item.kind), byline(item),
      item.kind === "artist" ? null : make("span", { class: "by" }, ` by ${item.artist}`))));
  if (search.items.length === 0) $("found").append(make("li", { role: "option", "aria-disabled": "true", "aria-selected": "false" }, "Nothing is called so."));
  $("found").hidden = false;
  $("search").setAttribute("aria-expanded", "true");
  markFound(-1);
}

$("search").addEventListener("input", () => {
  clearTimeout(search.timer);
  search.timer = setTimeout(() => lookFor($("search").value), 120);
});
$("search").addEventListener("blur", closeFound);
$("search").addEventListener("keydown", (event) => {
  const count = $("found").hidden ? 0 : search.items.length;
  if (event.key === "ArrowDown" && count) markFound((search.at + 1) % count);
  else if (event.key === "ArrowUp" && count) markFound((search.at - 1 + count) % count);
  else if (event.key === "Enter" && count) take(search.items[Math.max(search.at, 0)]);
  else if (event.key === "Escape") closeFound();
  else return;
  event.preventDefault();
});

$("play-station").addEventListener("click", () => attempt(async () => {
  $("play-station").disabled = true;
  const of = (kind) => chosen.filters.filter((one) => one.kind === kind).map((one) => one.name);
  try {
    const state = await ask("POST", "/api/stations", {
      seeds: chosen.seeds.map(({ kind, id }) => ({ kind, id })), genres: of("genre"), moods: of("mood"), eras: of("era") });
    chosen.seeds = [];
    chosen.filters = [];
    playing.wanted = true;
    history.pushState(null, "", `#${state.station.id}`);
    enter(state);
  } finally {
    paintChips();
  }
}));

async function openStart() {
  show("start");
  paintChips();
  const [lists, stations, chart] = await Promise.all(
    ["/api/lists", "/api/stations", "/api/chart"].map((address) => attempt(() => ask("GET", address))));
  if (lists) paintLists(lists);
  if (stations) paintStations(stations);
  if (chart) paintChart(chart);
}

function paintLists(lists) {
  lists.eras.sort((one, other) => one.name.localeCompare(other.name));
  const kinds = [["genres", "genre", "Genres"], ["moods", "mood", "Moods"], ["eras", "era", "Eras"]];
  $("lists").replaceChildren(...kinds.filter(([name]) => lists[name].length).map(([name, kind, title]) =>
    make("section", { "aria-labelledby": `list-${kind}` }, make("h2", { id: `list-${kind}` }, title),
      make("div", { class: "picks", tabindex: "-1" }, ...lists[name].slice(0, 60).map((row) => {
        const button = make("button", { type: "button", "aria-pressed": "false", title: `${row.tracks} tracks`, onclick: () => toggleFilter(kind, row.name) }, row.name);
        button.dataset.kind = kind;
        button.dataset.name = row.name;
        return button;
      })))));
  paintChips();
}

function paintStations(stations) {
  $("stations").replaceChildren(...stations.map((one) =>
    make("li", {}, make("button", { type: "button", class: "row", onclick: () => { playing.opening = one.id; location.hash = one.id; } }, one.name),
      make("div", { class: "reason" }, `${one.played} played, ${one.liked} liked; last used ${new Date(one.used).toLocaleDateString()}`))));
  if (stations.length === 0) $("stations").append(make("li", { class: "reason" }, "None yet: pick something above and press Play."));
}

/** A circle for each decade of a genre, as large as there are tracks; a click picks both. By keyboard the lists above do the same. */
function paintChart({ decades, genres }) {
  const rows = genres.filter((one) => one.tracks.some((count) => count > 0));
  $("chart-part").hidden = rows.length === 0 || decades.length === 0;
  if ($("chart-part").hidden) return;
  const cells = rows.flatMap((row, y) => row.tracks.map((count, x) => ({ genre: row.name, decade: decades[x], count, x, y }))).filter((one) => one.count > 0);
  const largest = cells.reduce((one, other) => (other.count > one.count ? other : one));
  const left = 140, cell = 72, step = 38, width = left + cell * decades.length;
  const words = `The most of it: ${largest.genre} of the ${largest.decade}, ${largest.count} tracks.`;
  const svg = draw("svg", { viewBox: `0 0 ${width} ${step * rows.length + 34}`, width, role: "img", "aria-label": `Tracks by genre and decade. ${words}` });
  decades.forEach((decade, x) => svg.append(draw("text", { x: left + cell * (x + 0.5), y: 18, "text-anchor": "middle" }, decade)));
  rows.forEach((row, y) => svg.append(draw("text", { x: left - 14, y: 34 + step * (y + 0.5) + 4, "text-anchor": "end" }, row.name),
    draw("line", { x1: left, x2: width, y1: 34 + step * (y + 0.5), y2: 34 + step * (y + 0.5) })));
  for (const one of cells) {
    const dot = draw("circle", { cx: left + cell * (one.x + 0.5), cy: 34 + step * (one.y + 0.5), r: 3 + 14 * Math.sqrt(one.count / largest.count) },
      draw("title", {}, `${one.genre}, ${one.decade}: ${one.count}`));
    if (one.genre !== "other") dot.addEventListener("click", () => { toggleFilter("genre", one.genre, true); toggleFilter("era", one.decade, true); });
    svg.append(dot);
  }
  $("chart-words").textContent = `${words} Pick a circle to start there.`;
  $("chart").replaceChildren(svg);
}

// ---- Playing --------------------------------------------------------------------------------------------------------

// Two elements take turns: while one plays, the other has the next track ready.
const playing = { station: null, track: null, wanted: false, failed: 0, players: [new Audio(), new Audio()], turn: 0, state: null };
const current = () => playing.players[playing.turn];
const waiting = () => playing.players[1 - playing.turn];
const sound = (track) => `/api/tracks/${track.id}/sound`;
const mostFailed = 3;  // in a row: then the music as a whole is away, which is no judgement on its tracks

for (const player of playing.players) {
  player.preload = "auto";
  player.addEventListener("ended", () => player === current() && ended());
  player.addEventListener("error", () => player === current() && playing.wanted && player.getAttribute("src") && unplayable());
  player.addEventListener("playing", () => { if (player === current()) playing.failed = 0; });
  for (const event of ["play", "pause", "timeupdate", "durationchange"]) player.addEventListener(event, () => player === current() && paintProgress());
}

/** What is loaded ahead sounds at once; the station hears of it meanwhile, and has the last word on what is on. */
function ended() {
  const next = playing.state.coming[0];
  if (next && !waiting().error && waiting().getAttribute("src") === sound(next)) {
    playing.turn = 1 - playing.turn;
    start();
  }
  order("ended");
}

/** It can't be played; or the server doesn't answer, which heals by itself. */
async function unplayable() {
  const track = playing.track;
  if (!track || playing.failing === track.id) return;
  playing.failing = track.id;
  const at = current().currentTime;
  const there = await fetch("/api/hello").then((answer) => answer.ok, () => false);
  if (!there) await attempt(() => ask("GET", "/api/hello"));
  playing.failing = null;
  if (track.id !== playing.track?.id) return;
  if (!there) {
    load(current(), track, true);
    current().currentTime = at;
    if (playing.wanted) start();
  } else if (++playing.failed > mostFailed) {
    stop();
    playing.failed = 0;
    tell("One track after another can't be played. Is the music where it was scanned? Play tries again.", true);
  } else {
    await order("unplayable", { why: "the browser can't play it" });
    tell(`"${track.title}" can't be played, and is passed over.`);
  }
}

function load(player, track, anew = false) {
  if (!track || catalogue.demonstration) return player.removeAttribute("src");
  if (anew || player.getAttribute("src") !== sound(track)) player.src = sound(track);
}

function start() {
  if (catalogue.demonstration) return tell("These tracks are invented: there is nothing to hear, but the station listens to what you say of them.");
  playing.wanted = true;
  channel?.postMessage({ sounds: true });
  if (current().error && playing.failing !== playing.track?.id) load(current(), playing.track, true);
  return current().play().catch((failed) => {
    if (failed.name === "NotAllowedError") tell("Press Play to begin: the browser waits for you.");
  });
}

function toggle() {
  if (current().paused) return start();
  return stop();
}

function stop() {
  playing.wanted = false;
  for (const player of playing.players) player.pause();
}

/** Nothing is on any more. */
function leave() {
  stop();
  for (const player of playing.players) player.removeAttribute("src");
  playing.station = playing.track = playing.state = null;
  paintBar();
}

// Only one tab sounds, and those of one station show the same.
const channel = "BroadcastChannel" in window ? new BroadcastChannel("cadenz") : null;
channel?.addEventListener("message", ({ data }) => {
  if (data.sounds && playing.wanted) stop();
  if (data.changed && data.changed === playing.station) follow();
});

/** What another tab or a restart has changed. A tab that sounds goes its own way until its next order. */
async function follow() {
  const { station } = playing;
  if (!station || !current().paused) return;
  const state = await ask("GET", `/api/stations/${station}?since=${playing.state.revision}`).catch(() => null);
  if (state && station === playing.station && current().paused) enter(state);
}
setInterval(() => { if (view === "player" && !document.hidden) follow(); }, 10000);

// Where a tab was is kept for its reload.
window.addEventListener("pagehide", () => {
  if (!playing.track) return sessionStorage.removeItem("cadenz");
  return sessionStorage.setItem("cadenz", JSON.stringify({ station: playing.station, track: playing.track.id, at: current().currentTime, wanted: playing.wanted }));
});

/** Enters a station that there was, at the place where this tab left it. */
function goOn(state) {
  const left = JSON.parse(sessionStorage.getItem("cadenz") ?? "{}");
  sessionStorage.removeItem("cadenz");
  if (playing.station !== state.station.id) stop();
  if (left.station === state.station.id) {
    playing.wanted = left.wanted;
    if (left.track === state.track?.id) {
      load(current(), state.track);
      current().currentTime = left.at;
    }
  } else if (playing.opening === state.station.id) {
    playing.wanted = true;
  }
  playing.opening = null;
  enter(state);
}

/** Shows a station's state, and plays what it says is on. */
function enter(state) {
  const other = state.track?.id !== playing.track?.id;
  playing.state = state;
  playing.station = state.station.id;
  playing.track = state.track;
  if (location.hash.slice(1) === playing.station) show("player");
  if (!state.track) {
    stop();
  } else if (other) {
    if (waiting().getAttribute("src") === sound(state.track)) {
      current().pause();
      playing.turn = 1 - playing.turn;
    }
    load(current(), state.track);
    if (playing.wanted && current().error) unplayable();  // it failed while it was loaded ahead
    else if (playing.wanted && current().paused) start();
  }
  load(waiting(), state.coming[0]);
  paint(state);
  if (other && state.track) paintNear(state.track);
}

async function order(name, more = {}) {
  const { station, track } = playing;
  if (!station || !track) return;
  const state = await attempt(() => ask("POST", `/api/stations/${station}/orders`, { order: name, track: track.id, ...more }));
  if (!state || station !== playing.station) return;
  tell(state.notices.map((one) => (one.next ? `${one.what}: ${one.next}` : one.what)).join(" ") || said[name] || "");
  enter(state);
  channel?.postMessage({ changed: station });
}
const said = { love: "Noted: more like this.", "love-artist": "Noted: more of this artist.", ban: "Banned.", "ban-artist": "The artist is banned." };

// ---- Painting the player ---------------------------------------------------------------------------------------------

/** Stands for a cover: rings, whose widths are the track's own. */
function drawing(track) {
  const text = `${track?.album ?? ""}${track?.artist ?? ""}cadenz`;
  const svg = draw("svg", { viewBox: "0 0 100 100" });
  for (let ring = 0; ring < 6; ++ring) {
    const value = [...text].reduce((sum, letter, i) => (sum * 31 + letter.codePointAt(0) * (i + ring + 1)) % 997, ring);
    svg.append(draw("circle", { cx: 50, cy: 50, r: 44 - ring * 7, "stroke-width": 1 + (value % 5), "stroke-opacity": 0.25 + (value % 7) / 10,
      "stroke-dasharray": `${20 + (value % 80)} ${value % 30}`, transform: `rotate(${value % 360} 50 50)` }));
  }
  return svg;
}

function paint(state) {
  const { track } = state;
  document.title = track ? `${track.title} – cadenz` : "cadenz";
  $("title").textContent = track ? track.title : "Nothing is left to play";
  $("artist").textContent = track?.artist ?? "";
  $("album").textContent = track ? [track.album, track.year].filter(Boolean).join(", ") : "";
  $("why").textContent = track?.reason?.text ?? "";
  $("why").hidden = !track?.reason;
  if (track?.id !== $("cover").dataset.track) {
    $("cover").dataset.track = track?.id ?? "";
    const image = make("img", { alt: "", onload: () => $("cover").replaceChildren(image), onerror: () => $("cover").replaceChildren(drawing(track)) });
    if (track) image.src = track.cover;
    else $("cover").replaceChildren();
  }
  const from = [...state.from.seeds.map(byline), ...state.from.filters.map((one) => one.name)].join(", ");
  $("from").textContent = state.station.name;
  $("started-from").textContent = from && `Started from ${from}`;
  for (const id of ["toggle", "next", "love", "ban", "love-artist", "ban-artist", "position"]) $(id).disabled = !track;
  $("love").setAttribute("aria-pressed", String(Boolean(track?.liked)));

  $("played-part").hidden = state.played.length === 0;
  $("coming").replaceChildren(...state.coming.map((one) => make("li", {}, make("strong", {}, one.title), make("span", { class: "by" }, ` by ${one.artist}`),
    one.reason ? make("div", { class: "reason" }, one.reason.text) : null)));
  $("played").replaceChildren(...state.played.map((one) => make("li", {}, make("strong", {}, one.track.title), make("span", { class: "by" }, ` by ${one.track.artist}`),
    make("div", { class: "reason" }, one.liked ? `${one.event}, liked` : one.event))));
  if (document.activeElement !== $("station-name")) $("station-name").value = state.station.name;
  $("m3u").href = `/api/stations/${state.station.id}/playlist.m3u`;
  $("xspf").href = `/api/stations/${state.station.id}/playlist.xspf`;
  paintSettings(state.settings);
  paintProgress();
  paintBar();
  tellSession(track);
}

function paintSettings(values) {
  if ($("settings").contains(document.activeElement)) return;
  const change = (name, value) => attempt(async () => {
    enter(await ask("PATCH", `/api/stations/${playing.station}`, { settings: { [name]: value } }));
    tell(`${name} is ${value === true ? "on" : value === false ? "off" : value} from the next playlist on.`);
  });
  $("settings").replaceChildren(...settings.map((one) => {
    const input = one.form === "number"
      ? make("input", { type: "range", min: one.least, max: one.most, step: 50, value: values[one.name] ?? 500, onchange: () => change(one.name, Number(input.value)) })
      : make("input", { type: "checkbox", onchange: () => change(one.name, input.checked) });
    if (one.form !== "number") input.checked = Boolean(values[one.name]);
    return make("label", {}, one.form === "number" ? `${one.name}: ${one.help}` : `${one.help} `, input);
  }));
}

function paintProgress() {
  const player = current(), length = Number.isFinite(player.duration) ? player.duration : playing.track?.duration ?? 0;
  $("position").max = String(Math.max(1, Math.floor(length)));
  if (document.activeElement !== $("position") || !player.paused) $("position").value = String(Math.floor(player.currentTime));
  $("position").setAttribute("aria-valuetext", `${time(player.currentTime)} of ${time(length)}`);
  $("elapsed").textContent = time(player.currentTime);
  $("length").textContent = time(length);
  for (const id of ["toggle", "now-toggle"]) {
    $(id).classList.toggle("playing", !player.paused);
    $(id).setAttribute("aria-label", player.paused ? "Play" : "Pause");
  }
}

/** What is on stays in sight while something else is shown. */
function paintBar() {
  $("now-bar").hidden = view !== "start" || !playing.track;
  if (!playing.track) return;
  $("now-link").textContent = `${playing.track.title} by ${playing.track.artist}`;
  $("now-link").href = `#${playing.station}`;
}

/** Keys and screens of the system. */
function tellSession(track) {
  if (!("mediaSession" in navigator) || !track) return;
  navigator.mediaSession.metadata = new MediaMetadata({ title: track.title, artist: track.artist, album: track.album ?? "", artwork: [{ src: track.cover }] });
}
if ("mediaSession" in navigator) {
  const handlers = { play: start, pause: stop, nexttrack: () => order("next"), seekto: ({ seekTime }) => { current().currentTime = seekTime; } };
  for (const [name, work] of Object.entries(handlers)) navigator.mediaSession.setActionHandler(name, work);
}

/** The nearest tracks around one. A click goes there: the map is drawn anew around it, and a station can start from it. */
async function paintNear(track) {
  const on = playing.track.id;
  if (track.id === on) $("near-part").hidden = true;
  if (!catalogue.sounds) return;
  const told = await ask("GET", `/api/tracks/${track.id}/near`).catch(() => null);
  if (!told || told.near.length === 0 || on !== playing.track?.id) return;
  const size = 400, middle = size / 2, place = (value) => middle + value * (middle - 24), listed = 8;
  const near = told.near.toSorted((one, other) => one.distance - other.distance);
  const name = (one) => `${one.title} by ${one.artist}`;
  const svg = draw("svg", { viewBox: `0 0 ${size} ${size}`, role: "img", "aria-label": `A map of what sounds like ${track.title}; the nearest are listed with it` });
  for (const radius of [0.34, 0.67, 1]) svg.append(draw("circle", { class: "ring", cx: middle, cy: middle, r: radius * (middle - 24) }));
  near.forEach((one, i) => {
    const dot = draw("g", { class: i < listed ? "dot listed" : "dot", transform: `translate(${place(one.x)} ${place(one.y)})` },
      draw("circle", { r: i < listed ? 11 : 6 }), i < listed ? draw("text", { "text-anchor": "middle", y: 5 }, String(i + 1)) : null, draw("title", {}, name(one.track)));
    dot.addEventListener("click", () => paintNear(one.track));
    svg.append(dot);
  });
  svg.append(draw("circle", { class: "middle", cx: middle, cy: middle, r: 6 }, draw("title", {}, name(track))));
  const rows = near.slice(0, listed).map((one) => make("li", {}, make("button", { type: "button", class: "row", onclick: () => paintNear(one.track) }, one.track.title),
    make("span", { class: "by" }, ` by ${one.track.artist}`)));
  const away = track.id !== on && make("p", { class: "go" }, make("strong", {}, name(track)),
    make("button", { type: "button", onclick: () => { choose(track); location.hash = ""; } }, "Start from it"),
    make("button", { type: "button", class: "quiet", onclick: () => paintNear(playing.track) }, "Back to what is on"));
  const focused = $("near").contains(document.activeElement);
  $("near").replaceChildren(svg, make("div", {}, ...(away ? [away] : []), make("ol", { class: "rows numbered" }, ...rows)));
  $("near-part").hidden = false;
  if (focused) $("near").querySelector("button").focus();
}

// ---- What the listener does ------------------------------------------------------------------------------------------

for (const id of ["toggle", "now-toggle"]) $(id).addEventListener("click", toggle);
$("next").addEventListener("click", () => order("next"));
$("keys").addEventListener("click", () => $("help").showModal());
for (const name of ["love", "ban", "love-artist", "ban-artist"]) $(name).addEventListener("click", () => order(name));
$("position").addEventListener("input", () => { current().currentTime = Number($("position").value); });
function changeVolume() {
  for (const player of playing.players) player.volume = Number($("volume").value);
  localStorage.setItem("volume", $("volume").value);
}
$("volume").value = localStorage.getItem("volume") ?? "1";
changeVolume();
$("volume").addEventListener("input", changeVolume);
$("home").addEventListener("click", (event) => { event.preventDefault(); location.hash = ""; });
$("rename").addEventListener("submit", (event) => {
  event.preventDefault();
  attempt(async () => { enter(await ask("PATCH", `/api/stations/${playing.station}`, { name: $("station-name").value })); tell("Renamed."); });
});
$("remove").addEventListener("click", () => attempt(async () => {
  if (!confirm("Remove the station with everything that it has learned?")) return;
  await ask("DELETE", `/api/stations/${playing.station}`);
  leave();
  location.hash = "";
}));
$("sign-in").addEventListener("submit", (event) => {
  event.preventDefault();
  const form = new FormData($("sign-in"));
  attempt(async () => {
    await ask("POST", "/api/session", { name: form.get("name"), password: form.get("password") });
    $("sign-in").reset();
    await begin();
  });
});
$("sign-out").addEventListener("click", () => attempt(async () => {
  leave();
  await ask("DELETE", "/api/session");
  await begin();
}));

const keys = {
  " ": toggle, n: () => order("next"), "+": () => order("love"), "-": () => order("ban"),
  e: () => tell($("why").textContent), u: () => { $("coming-title").scrollIntoView(); tell(`Next: ${playing.state?.coming.slice(0, 3).map((one) => one.title).join(", ")}`); },
  "?": () => $("help").showModal(),
};
document.addEventListener("keydown", (event) => {
  if (view !== "player" || event.ctrlKey || event.metaKey || event.altKey || $("help").open) return;
  if (event.target.closest("input:not([type=range]), textarea, select")) return;
  if (event.key === " " && event.target.closest("button, a, input")) return;
  const work = keys[event.key];
  if (!work) return;
  event.preventDefault();
  work();
});

// ---- Begin -----------------------------------------------------------------------------------------------------------

async function begin() {
  const hello = await attempt(() => ask("GET", "/api/hello"));
  if (!hello) return;
  settings = hello.settings;
  catalogue = hello.catalogue;
  $("catalogue").textContent = `${catalogue.tracks.toLocaleString()} tracks by ${catalogue.artists.toLocaleString()} artists${catalogue.demonstration ? " (demonstration: the artists are invented)" : ""}`;
  $("sign-out").hidden = !hello.user;
  if (hello.sign_in) return show("sign-in");
  await route();
}
window.addEventListener("hashchange", route);
begin();
