// The page as a listener uses it, in headless Chromium against the program itself, over tones that ffmpeg makes.
import assert from "node:assert/strict";
import { execFileSync, spawn } from "node:child_process";
import { cpSync, mkdtempSync, readFileSync, rmSync } from "node:fs";
import { createRequire } from "node:module";
import { after, before, test } from "node:test";
import { chromium } from "playwright-core";

const cadenz = process.env.CADENZ, pictures = process.env.PICTURES;
const axe = createRequire(import.meta.url).resolve("axe-core/axe.min.js");
const folder = mkdtempSync("/tmp/cadenz_page_");
// Invented, like those of the demonstration catalogue.
const titles = ["Last Lullaby for Two", "Gentle Summer", "Electric Shoreline", "", "Paper Lanterns", "Halfway to Morning", "Slow River",
  "A Room of Snow", "Northern Line", "Glass Orchard", "Every Other Sunday", "Salt and Cedar", "Tiny Anthem", "Short Goodbye"];
const artists = ["Northern Choir", "Anselm Marchetti", "Northern Ferry", "The Quiet Hours", "Ilse Okafor"];
const albums = ["Gentle Summers", "Hidden Compass", "Early Snowfalls"];
const markup = titles[3] = '<img src=x onerror="document.title=\'broken\'">&amp;';
let server, address, browser;

const tone = (file, seconds, tags) =>
  execFileSync("ffmpeg", ["-loglevel", "error", "-f", "lavfi", "-i", `sine=frequency=${300 + 40 * Math.random()}:duration=${seconds}`,
    ...Object.entries(tags).flatMap(([key, value]) => ["-metadata", `${key}=${value}`]), `${folder}/music/${file}`]);

async function serve(listen = "127.0.0.1:0", ...more) {
  server = spawn(cadenz, ["serve", "--catalog", `${folder}/catalog.db`, "--listen", listen, ...more], { stdio: ["ignore", "pipe", "inherit"] });
  address = await new Promise((done, failed) => {
    server.stdout.on("data", (data) => done(String(data).match(/http:\S+/)[0]));
    server.on("exit", (status) => failed(new Error(`the server ended: ${status}`)));
  });
}

async function endServer() {
  const ended = new Promise((done) => server.once("exit", done));
  server.kill("SIGTERM");
  assert.equal(await ended, 0);
}

async function open(options = {}) {
  const page = await browser.newPage({ viewport: { width: 1100, height: 900 }, ...options });
  page.problems = [];
  page.on("pageerror", (error) => page.problems.push(String(error)));
  page.on("console", (message) => /Content Security Policy/.test(message.text()) && page.problems.push(message.text()));
  await page.goto(address);
  await page.waitForSelector("#start-view:not([hidden]) #stations li");
  return page;
}

/** Picks what is called so, and plays. */
async function play(page, text) {
  await page.fill("#search", text);
  await page.waitForSelector("#found-0");
  await page.press("#search", "Enter");
  await page.click("#play-station");
  await page.waitForFunction(() => document.getElementById("title").textContent !== "");
}

const title = (page) => page.textContent("#title");
const titleIsNot = (page, before) => page.waitForFunction((old) => document.getElementById("title").textContent !== old, before, { timeout: 15000 });
const saidIs = (page, pattern) => page.waitForFunction((wanted) => new RegExp(wanted).test(document.getElementById("status").textContent), pattern, { timeout: 15000 });

async function isAccessible(page, where) {
  await page.evaluate(readFileSync(axe, "utf8"));
  const found = await page.evaluate(() => axe.run({ resultTypes: ["violations"] }));
  assert.deepEqual(found.violations.map((one) => `${one.id}: ${one.nodes.map((node) => node.target).join(" ")}`), [], where);
}

async function picture(page, name) {
  if (pictures) await page.screenshot({ path: `${pictures}/${name}.png` });
}

before(async () => {
  execFileSync("mkdir", [`${folder}/music`]);
  for (let i = 0; i < 14; ++i)
    tone(`t${i}.flac`, i < 12 ? 40 : 2, { title: titles[i], artist: artists[i % 5], album: albums[i % 3], genre: i % 2 ? "Shoegaze" : "Dream Pop", date: 1980 + 3 * i });
  execFileSync("ffmpeg", ["-loglevel", "error", "-f", "lavfi", "-i", "gradients=s=600x600:c0=teal:c1=navy", "-frames:v", "1", `${folder}/music/cover.jpg`]);
  execFileSync(cadenz, ["scan", "--no-sound", "--shortest", "0", "--catalog", `${folder}/catalog.db`, `${folder}/music`], { stdio: "ignore" });
  await serve();
  browser = await chromium.launch({ executablePath: "/usr/bin/chromium", args: ["--no-sandbox", "--disable-gpu", "--disable-quic", "--no-first-run", "--disable-background-networking", "--disable-component-update", "--disable-sync", "--autoplay-policy=no-user-gesture-required"] });
});
after(async () => {
  await browser?.close();
  server?.kill("SIGKILL");
  rmSync(folder, { recursive: true });
});

test("a station from a name: played, loved, banned, renamed, gone on with after a reload, removed", async () => {
  const page = await open();
  await isAccessible(page, "the start");
  await picture(page, "start");
  await page.click("text=Dream Pop");
  await play(page, titles[4]);
  await page.waitForFunction(() => !document.querySelector("#toggle").matches("[aria-label=Play]"));
  await isAccessible(page, "the player");
  assert.match(await page.textContent("#why"), /Dream Pop|album|artist/);
  await page.waitForFunction(() => document.querySelector("#cover img")?.naturalWidth === 600);
  await picture(page, "player");

  const first = await title(page);
  await page.click("#love");
  await saidIs(page, "more like this");
  assert.equal(await page.getAttribute("#love", "aria-pressed"), "true");
  await page.click("#ban");
  await titleIsNot(page, first);
  assert.match(await page.textContent("#played"), new RegExp(`${first.replace(/[^\w ]/g, ".")}.*banned, liked`));
  await page.fill("#station-name", "Evening");
  await page.click("#rename button");
  await saidIs(page, "Renamed");

  const second = await title(page);
  await page.reload();
  await page.waitForFunction((old) => document.getElementById("title").textContent === old, second);
  const m3u = await (await page.request.get(new URL(await page.getAttribute("#m3u", "href"), address).href)).text();
  assert.match(m3u, /^#EXTM3U\n#EXTINF:\d+,.*\nhttp:\/\/127\.0\.0\.1:\d+\/api\/tracks\/.*\/sound\n/);

  page.on("dialog", (dialog) => dialog.accept());
  await page.click("#remove");
  await page.waitForSelector("#start-view:not([hidden])");
  await page.waitForFunction(() => !document.getElementById("stations").textContent.includes("Evening"));
  assert.deepEqual(page.problems, []);
  await page.close();
});

test("a track is played to its end, and the next one follows", async () => {
  const page = await open();
  await page.goto(`${address}#`);
  await play(page, titles[12]);
  for (let tries = 0; tries < 20 && !titles.slice(12).includes(await title(page)); ++tries) {
    const before = await title(page);
    await page.press("body", "n");
    await titleIsNot(page, before);
  }
  const short = await title(page);
  assert.ok(titles.slice(12).includes(short));
  await titleIsNot(page, short);
  await page.waitForFunction((name) => document.querySelector("#played li")?.textContent.startsWith(name) && document.querySelector("#played .reason").textContent === "played", short);
  assert.deepEqual(page.problems, []);
  await page.close();
});

test("the keyboard alone, on a phone's width, in the dark; a title full of markup is a title", async () => {
  const page = await open({ viewport: { width: 360, height: 740 }, colorScheme: "dark" });
  await isAccessible(page, "the start on a phone");
  await page.focus("#search");
  await page.keyboard.type("img src");
  await page.waitForSelector("#found-0");
  assert.ok((await page.textContent("#found-0")).includes(markup));
  await page.keyboard.press("ArrowDown");
  await page.keyboard.press("Enter");
  assert.ok((await page.textContent("#chips")).includes(markup));
  await page.focus("#play-station");
  await page.keyboard.press("Enter");
  await page.waitForFunction(() => document.getElementById("title").textContent !== "");
  await isAccessible(page, "the player on a phone");
  await picture(page, "phone");
  const width = await page.evaluate(() => document.documentElement.scrollWidth);
  assert.ok(width <= 360, `${width} wide`);
  await page.evaluate(() => document.activeElement.blur());
  const before = await title(page);
  await page.keyboard.press("+");
  await saidIs(page, "more like this");
  await page.keyboard.press("n");
  await titleIsNot(page, before);
  await page.keyboard.press("e");
  assert.equal(await page.textContent("#status"), await page.textContent("#why"));
  await page.keyboard.press("?");
  await page.waitForSelector("#help[open]");
  await page.keyboard.press("Escape");
  assert.equal(await page.evaluate(() => document.querySelectorAll("#player-view img[onerror], #found img").length), 0);
  assert.notEqual(await page.title(), "broken");
  assert.deepEqual(page.problems, []);
  await page.close();
});

test("settings act; a file that has gone is passed over; a server that goes away comes back", async () => {
  const page = await open();
  await play(page, titles[6]);
  await page.locator("#settings input[type=range]").first().fill("900");
  await saidIs(page, "popularity is 900");
  await page.locator("#settings input[type=checkbox]").check();
  await saidIs(page, "dmca is on");

  const port = new URL(address).port;
  await endServer();
  await page.evaluate(() => document.activeElement.blur());
  await page.keyboard.press("n");
  await saidIs(page, "doesn't answer");
  cpSync(`${folder}/music`, `${folder}/kept`, { recursive: true });
  await serve(`127.0.0.1:${port}`);
  await page.waitForFunction(() => !/answer/.test(document.getElementById("status").textContent), null, { timeout: 20000 });
  rmSync(`${folder}/music`, { recursive: true });
  for (let tries = 0; tries < 5 && !/unplayable/.test(await page.textContent("#played")); ++tries) {  // what is there already plays
    const before = await title(page);
    await page.keyboard.press("n");
    await titleIsNot(page, before);
    await page.waitForTimeout(300);
  }
  assert.match(await page.textContent("#played"), /unplayable/);
  cpSync(`${folder}/kept`, `${folder}/music`, { recursive: true });
  assert.deepEqual(page.problems, []);
  await page.close();
});

test("listeners sign in, and have stations of their own", async () => {
  await endServer();
  for (const name of ["anna", "ben"])
    execFileSync(cadenz, ["serve", "--catalog", `${folder}/catalog.db`, "--add-user", name], { input: `${name}-secret\n`, stdio: ["pipe", "ignore", "inherit"] });
  await serve();
  const page = await browser.newPage();
  const signIn = async (name, password) => {
    await page.fill("#sign-in input[name=name]", name);
    await page.fill("#sign-in input[name=password]", password);
    await page.click("#sign-in button");
  };
  await page.goto(address);
  await page.waitForSelector("#sign-in-view:not([hidden])");
  await isAccessible(page, "the door");
  await signIn("anna", "wrong");
  await saidIs(page, "wrong");
  await signIn("anna", "anna-secret");
  await page.waitForSelector("#start-view:not([hidden])");
  await play(page, titles[8]);
  const station = new URL(page.url()).hash;
  await page.click("#sign-out");
  await page.waitForSelector("#sign-in-view:not([hidden])");
  await signIn("ben", "ben-secret");
  await saidIs(page, "no such station");
  await page.goto(`${address}${station}`);
  await page.goto(address);
  await page.waitForSelector("#stations li");
  assert.match(await page.textContent("#stations"), /None yet/);
  await page.close();
});
