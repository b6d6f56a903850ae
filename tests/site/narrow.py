#!/usr/bin/env python3
"""Opens every page of the site in a browser, as wide as a phone's screen, and finds those that would scroll sideways.

    narrow.py --browser PROGRAM --site FOLDER
"""

import argparse
import json
import os
import pathlib
import re
import signal
import subprocess
import sys
import tempfile
import threading

SKIPPED = 77
WIDTH = 390  # pixels
PATIENCE = 800  # seconds for all pages
LIST = """<!doctype html><body><script>
const pages = %s, found = [];
async function open(page) {
    const frame = document.createElement("iframe");
    frame.sandbox = "allow-same-origin";  // no scripts: what they do is not looked at
    frame.width = %d;
    frame.height = 800;
    frame.style.border = 0;
    await new Promise(done => { frame.onload = done; frame.src = page; document.body.append(frame); });
    const root = frame.contentDocument.documentElement, image = frame.contentDocument.querySelector("img:not([alt])");
    found.push([page, root.scrollWidth, image ? image.src : ""]);
    frame.remove();
}
(async () => {
    for (const page of pages) { await open(page); }
    console.log("FOUND" + JSON.stringify(found) + "END");
})();
</script></body>"""


def seen_by(browser, site, pages):
    """Page, width and an image without a text, as the browser tells them; fewer pages where it does not end."""
    with tempfile.TemporaryDirectory() as home, tempfile.NamedTemporaryFile("w", suffix=".html", dir=site) as harness:
        harness.write(LIST % (json.dumps(pages), WIDTH))
        harness.flush()
        run = subprocess.Popen(
            [browser, "--headless", "--no-sandbox", "--disable-gpu", "--allow-file-access-from-files",
             "--enable-logging=stderr", "--remote-debugging-port=0", f"--user-data-dir={home}", f"file://{harness.name}"],
            env=os.environ | {"HOME": home}, stdout=subprocess.DEVNULL, stderr=subprocess.PIPE, text=True,
            start_new_session=True)
        timer = threading.Timer(PATIENCE, os.killpg, (run.pid, signal.SIGKILL))
        timer.start()
        try:
            found = next((match for line in run.stderr if (match := re.search(r'"FOUND(.*)END"', line))), None)
        finally:
            timer.cancel()
            os.killpg(run.pid, signal.SIGKILL)
            run.wait()
    return json.loads(found[1]) if found else []


def main():
    parser = argparse.ArgumentParser()
    parser.add_argument("--browser", required=True)
    parser.add_argument("--site", required=True, type=pathlib.Path)
    options = parser.parse_args()
    if not os.access(options.browser, os.X_OK) or not options.site.is_dir():
        print("SKIPPED: there is no browser (Debian: apt-get install chromium), or no site; no page was opened")
        return SKIPPED
    site = options.site.resolve()
    pages = sorted(path.relative_to(site).as_posix() for path in site.rglob("*.html") if path.name != "404.html")
    rows = seen_by(options.browser, site, pages)
    faults = [f"{page} is {width} pixels wide, on a screen of {WIDTH}" for page, width, _ in rows if width > WIDTH]
    faults += [f"{page}: {image} has no text for those who do not see it" for page, _, image in rows if image]
    if len(rows) != len(pages):
        faults.append(f"the browser opened {len(rows)} of {len(pages)} pages")
    print("\n".join(faults[:20]) or f"{len(rows)} pages fit")
    return 1 if faults else 0


sys.exit(main())
