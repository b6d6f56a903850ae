// The browser, and what is asked of every page that it shows.
import assert from "node:assert/strict";
import { readFileSync } from "node:fs";
import { createRequire } from "node:module";
import { connect } from "node:net";
import puppeteer from "puppeteer-core";

export const url = process.env.FLEET_URL;
const axe = readFileSync(createRequire(import.meta.url).resolve("axe-core/axe.min.js"), "utf8");

export function launch() {
    return puppeteer.launch({
        executablePath: process.env.FLEET_BROWSER,
        headless: true,
        userDataDir: process.env.FLEET_PROFILE,
        args: ["--no-sandbox", "--disable-gpu", "--disable-quic", "--no-first-run", "--disable-background-networking",
            "--disable-component-update", "--disable-sync", "--disable-dev-shm-usage"],
    });
}

/** A page whose faults, and requests to anywhere else, are kept in `faults`. */
export async function openPage(browser, { width = 1280, height = 800, theme = "light", hash = "" } = {}) {
    const page = await browser.newPage();
    page.setDefaultTimeout(30000);
    page.faults = [];
    page.on("pageerror", (error) => page.faults.push(String(error)));
    page.on("console", (message) => ["error", "warn"].includes(message.type()) && page.faults.push(message.text()));
    page.on("request", (request) => !request.url().startsWith(url) && !request.url().startsWith("data:") && page.faults.push(`asks ${request.url()}`));
    await page.setViewport({ width, height });
    await page.emulateMediaFeatures([{ name: "prefers-color-scheme", value: theme }]);
    await page.goto(url + hash, { waitUntil: "domcontentloaded" });
    return page;
}

/** When the messages of a subject came, in milliseconds since 1970. */
export function listen(subject) {
    const heard = [];
    const socket = connect(Number(process.env.FLEET_NATS_PORT), "127.0.0.1");
    socket.on("data", (data) => {
        const text = data.toString("latin1");
        heard.push(...Array(text.split(/^H?MSG /m).length - 1).fill(Date.now()));
        if (/^PING/m.test(text)) {
            socket.write("PONG\r\n");
        }
    });
    socket.write(`CONNECT {"verbose":false,"headers":true}\r\nSUB ${subject} 1\r\n`);
    return { heard, end: () => socket.destroy() };
}

export async function show(page, hash, selector) {
    await page.evaluate((to) => (location.hash = to), hash);
    await page.waitForSelector(selector, { timeout: 10000 });
    await new Promise((done) => setTimeout(done, 400));
}

/** Rules of WCAG 2.2 A and AA, and what axe-core calls best practice. */
/** By all rules of the checker, or by those that are named. */
export async function assertAccessible(page, where, rules) {
    // The page's own policy keeps scripts out; this one comes by the debugger, as the user's own tools would.
    await page.evaluate(axe);
    const chosen = rules ? { runOnly: rules } : {};
    const { violations } = await page.evaluate((chosen) => globalThis.axe.run(document, { resultTypes: ["violations"], ...chosen }), chosen);
    const told = violations.map((each) => `${each.id}: ${each.help}\n    ${each.nodes.slice(0, 3).map((node) => node.html.slice(0, 200)).join("\n    ")}`);
    assert.deepEqual(told, [], where);
}

export async function assertNoSidewaysScrolling(page, where) {
    const wide = await page.evaluate(() =>
        [document.documentElement, ...document.querySelectorAll("main, main .list, main .scrolled")]
            .filter((each) => each.scrollWidth > each.clientWidth)
            .map((each) => `${each.tagName} ${each.className}: ${each.scrollWidth} in ${each.clientWidth}`));
    assert.deepEqual(wide, [], where);
}

/** The text of the element that has the focus, or of the row that is current in it. */
export function focused(page) {
    return page.evaluate(() => {
        const active = document.activeElement;
        const row = active?.getAttribute("aria-activedescendant");
        return (row ? document.getElementById(row) : active)?.textContent ?? "";
    });
}
