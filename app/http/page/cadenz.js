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
const tell = (text) => { $("status").textContent = text; };

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
      tell("The server doesn't answer. Trying again…");
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

function show(name) {
  view = name;
  for (const one of ["sign-in", "start", "player"]) $(`${one}-view`).hidden = one !== name;
  if (name !== "player") document.title = "cadenz";
}

async function route() {
  const id = decodeURIComponent(location.hash.slice(1));
  tell("");
  if (!id) return openStart();
  show("player");
  const state = await attempt(() => ask("GET", `/api/stations/${id}`));
  if (state) enter(state);
  else if (view === "player") {
    history.replaceState(null, "", "#");
    const why = $("status").textContent;
    await openStart();
    tell(why);
  }
}

// ---- Start ----------------------------------------------------------------------------------------------------------

const chosen = { seeds: [], filters: [] };
let settings = [];

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

function toggleFilter(kind, name) {
  const at = chosen.filters.findIndex((one) => one.kind === kind && one.name === name);
  if (at >= 0) chosen.filters.splice(at, 1);
  else chosen.filters.push({ kind, name });
  paintChips();
}

const search = { items: [], at: -1, running: null, timer: 0 };

function closeFound() {
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
    make("li", {}, make("button", { type: "button", class: "row", onclick: () => { playing.wanted = true; location.hash = one.id; } }, one.name),
      make("div", { class: "reason" }, `${one.played} played, ${one.liked} liked; last used ${new Date(one.used).toLocaleDateString()}`))));
  if (stations.length === 0) $("stations").append(make("li", { class: "reason" }, "None yet: pick something above and press Play."));
}

function paintChart(chart) {
  const { decades, genres } = chart;
  const rows = genres.filter((one) => one.tracks.some((count) => count > 0));
  $("chart-part").hidden = rows.length === 0 || decades.length === 0;
  if ($("chart-part").hidden) return;
  const most = Math.max(...rows.flatMap((one) => one.tracks));
  const left = 150, cell = 64, step = 30;
  const svg = draw("svg", { viewBox: `0 0 ${left + cell * decades.length} ${step * (rows.length + 1)}`, width: left + cell * decades.length, role: "img", "aria-label": "Tracks by genre and decade" });
  decades.forEach((decade, x) => svg.append(draw("text", { x: left + cell * x + cell / 2, y: 18, "text-anchor": "middle" }, decade)));
  rows.forEach((row, y) => {
    svg.append(draw("text", { x: left - 10, y: step * (y + 1) + 19, "text-anchor": "end" }, row.name));
    row.tracks.forEach((count, x) => {
      if (!count) return;
      const size = 6 + 20 * Math.sqrt(count / most);
      svg.append(draw("rect", { x: left + cell * x + (cell - size) / 2, y: step * (y + 1) + (step - size) / 2, width: size, height: size, rx: 4 },
        draw("title", {}, `${row.name}, ${decades[x]}: ${count}`)));
    });
  });
  $("chart").replaceChildren(svg);
}

// ---- Playing --------------------------------------------------------------------------------------------------------

// Two elements take turns: while one plays, the other has the next track ready.
const playing = { station: null, track: null, wanted: false, players: [new Audio(), new Audio()], turn: 0, state: null };
const current = () => playing.players[playing.turn];
const waiting = () => playing.players[1 - playing.turn];
const sound = (track) => `/api/tracks/${track.id}/sound`;

for (const player of playing.players) {
  player.preload = "auto";
  player.addEventListener("ended", () => player === current() && order("ended"));
  player.addEventListener("error", () => player === current() && playing.track && player.getAttribute("src") && unplayable());
  for (const event of ["play", "pause", "timeupdate", "durationchange"]) player.addEventListener(event, () => player === current() && paintProgress());
}

/** It can't be played; or the server doesn't answer, which heals by itself. */
async function unplayable() {
  const track = playing.track;
  const there = await fetch("/api/hello").then((answer) => answer.ok, () => false);
  if (track !== playing.track) return;
  if (!there) {
    const at = current().currentTime;
    await attempt(() => ask("GET", "/api/hello"));
    load(current(), track);
    current().currentTime = at;
    return start();
  }
  tell(`"${track.title}" can't be played.`);
  order("unplayable", { why: "the browser can't play it" });
}

function load(player, track) {
  if (!track) return player.removeAttribute("src");
  if (player.getAttribute("src") !== sound(track)) player.src = sound(track);
}

function start() {
  playing.wanted = true;
  channel?.postMessage("playing");
  current().play().catch((failed) => {
    if (failed.name === "NotAllowedError") tell("Press Play to begin: the browser waits for you.");
  });
}

function toggle() {
  if (current().paused) return start();
  playing.wanted = false;
  current().pause();
}

// Only one tab sounds.
const channel = "BroadcastChannel" in window ? new BroadcastChannel("cadenz") : null;
channel?.addEventListener("message", () => { if (!current().paused) { playing.wanted = false; current().pause(); } });

/** Shows a station's state, and plays what it says is on. */
function enter(state) {
  show("player");
  playing.state = state;
  playing.station = state.station.id;
  if (state.track && state.track.id !== playing.track?.id) {
    if (waiting().getAttribute("src") === sound(state.track)) {
      current().pause();
      playing.turn = 1 - playing.turn;
    }
    playing.track = state.track;
    load(current(), state.track);
    current().volume = Number($("volume").value);
    if (current().error) unplayable();  // it failed while it was loaded ahead
    else if (playing.wanted) start();
    paintNear(state.track);
  }
  playing.track = state.track;
  if (!state.track) current().pause();
  load(waiting(), state.coming[0]);
  paint(state);
}

async function order(name, more = {}) {
  const { station, track } = playing;
  if (!station || !track) return;
  const state = await attempt(() => ask("POST", `/api/stations/${station}/orders`, { order: name, track: track.id, ...more }));
  if (!state || station !== playing.station) return;
  tell(state.notices.map((one) => (one.next ? `${one.what}: ${one.next}` : one.what)).join(" ") || said[name] || "");
  enter(state);
}
const said = { love: "Noted: more like this.", "love-artist": "Noted: more of this artist.", ban: "Banned.", "ban-artist": "The artist is banned." };

// Another tab may have gone on.
setInterval(async () => {
  if (view !== "player" || document.hidden || !playing.station) return;
  const state = await ask("GET", `/api/stations/${playing.station}?since=${playing.state.revision}`).catch(() => null);
  if (state && state.station.id === playing.station && current().paused) enter(state);
}, 10000);

// ---- Painting the player ---------------------------------------------------------------------------------------------

const drawing = () => draw("svg", { viewBox: "0 0 64 64" }, draw("path", { d: "M14 40V24m12 22V18m12 24V14m12 22V28" }));

function paint(state) {
  const { track } = state;
  document.title = track ? `${track.title} – cadenz` : "cadenz";
  $("title").textContent = track ? track.title : "Nothing is left to play";
  $("artist").textContent = track?.artist ?? "";
  $("album").textContent = track ? [track.album, track.year].filter(Boolean).join(", ") : "";
  $("why").textContent = track?.reason?.text ?? "";
  $("why").hidden = !track?.reason;
  const image = track ? make("img", { src: track.cover, alt: "", onerror: () => $("cover").replaceChildren(drawing()) }) : drawing();
  if ($("cover").firstChild?.getAttribute?.("src") !== track?.cover || !track) $("cover").replaceChildren(image);
  for (const id of ["toggle", "next", "love", "ban", "love-artist", "ban-artist", "position"]) $(id).disabled = !track;
  $("love").setAttribute("aria-pressed", String(Boolean(track?.liked)));

  $("coming").replaceChildren(...state.coming.map((one) => make("li", {}, make("strong", {}, one.title), make("span", { class: "by" }, ` by ${one.artist}`),
    one.reason ? make("div", { class: "reason" }, one.reason.text) : null)));
  $("played").replaceChildren(...state.played.map((one) => make("li", {}, make("strong", {}, one.track.title), make("span", { class: "by" }, ` by ${one.track.artist}`),
    make("div", { class: "reason" }, one.liked ? `${one.event}, liked` : one.event))));
  if (document.activeElement !== $("station-name")) $("station-name").value = state.station.name;
  $("m3u").href = `/api/stations/${state.station.id}/playlist.m3u`;
  $("xspf").href = `/api/stations/${state.station.id}/playlist.xspf`;
  paintSettings(state.settings);
  paintProgress();
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
  $("toggle").classList.toggle("playing", !player.paused);
  $("toggle").setAttribute("aria-label", player.paused ? "Play" : "Pause");
}

/** Keys and screens of the system. */
function tellSession(track) {
  if (!("mediaSession" in navigator) || !track) return;
  navigator.mediaSession.metadata = new MediaMetadata({ title: track.title, artist: track.artist, album: track.album ?? "", artwork: [{ src: track.cover }] });
  navigator.mediaSession.setActionHandler("play", start);
  navigator.mediaSession.setActionHandler("pause", toggle);
  navigator.mediaSession.setActionHandler("nexttrack", () => order("skip"));
}

async function paintNear(track) {
  $("near-part").hidden = true;
  const told = await ask("GET", `/api/tracks/${track.id}/near`).catch(() => null);
  if (!told || told.near.length === 0 || track.id !== playing.track?.id) return;
  const size = 400, middle = size / 2, place = (value) => middle + value * (middle - 30);
  const svg = draw("svg", { viewBox: `0 0 ${size} ${size}`, width: size, role: "group", "aria-label": `Tracks that sound like ${track.title}` });
  for (const { x, y } of told.near) svg.append(draw("line", { x1: middle, y1: middle, x2: place(x), y2: place(y) }));
  svg.append(draw("circle", { cx: middle, cy: middle, r: 10 }));
  for (const { track: one, x, y } of told.near) {
    const dot = draw("a", { href: "#", "aria-label": `Start from ${one.title} by ${one.artist}` }, draw("circle", { cx: place(x), cy: place(y), r: 8 }, draw("title", {}, `${one.title} by ${one.artist}`)));
    dot.addEventListener("click", (event) => { event.preventDefault(); chosen.seeds = [one]; location.hash = ""; });
    svg.append(dot);
  }
  $("near").replaceChildren(svg);
  $("near-part").hidden = false;
}

// ---- What the listener does ------------------------------------------------------------------------------------------

$("toggle").addEventListener("click", toggle);
$("next").addEventListener("click", () => order("skip"));
for (const name of ["love", "ban", "love-artist", "ban-artist"]) $(name).addEventListener("click", () => order(name));
$("position").addEventListener("input", () => { current().currentTime = Number($("position").value); });
$("volume").addEventListener("input", () => { for (const player of playing.players) player.volume = Number($("volume").value); });
$("home").addEventListener("click", (event) => { event.preventDefault(); location.hash = ""; });
$("rename").addEventListener("submit", (event) => {
  event.preventDefault();
  attempt(async () => { enter(await ask("PATCH", `/api/stations/${playing.station}`, { name: $("station-name").value })); tell("Renamed."); });
});
$("remove").addEventListener("click", () => attempt(async () => {
  if (!confirm("Remove the station with everything that it has learned?")) return;
  await ask("DELETE", `/api/stations/${playing.station}`);
  current().pause();
  playing.station = playing.track = null;
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
  current().pause();
  await ask("DELETE", "/api/session");
  await begin();
}));

const keys = {
  " ": toggle, n: () => order("skip"), "+": () => order("love"), "-": () => order("ban"),
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
  const { catalogue } = hello;
  $("catalogue").textContent = `${catalogue.tracks.toLocaleString()} tracks by ${catalogue.artists.toLocaleString()} artists${catalogue.demonstration ? " (demonstration: the artists are invented)" : ""}`;
  $("sign-out").hidden = !hello.user;
  if (hello.sign_in) return show("sign-in");
  await route();
}
window.addEventListener("hashchange", route);
window.addEventListener("popstate", () => location.hash === "" && view === "player" && route());
begin();
