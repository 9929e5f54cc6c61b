#!/usr/bin/python3
"""The gallery in a browser: headless Chromium, driven over its debugging pipe, opens the page from its file.

usage: gallery_test.py VEL PHOTO...
Fails on a console error, a picture that does not load or has no text alternative, an outside reference, a slider that
does not answer the keyboard, or a page wider than a narrow window.
"""
import fcntl
import json
import os
import re
import shutil
import subprocess
import sys
import tempfile

CHROMIUM = ["--headless", "--no-sandbox", "--disable-gpu", "--disable-quic", "--no-first-run", "--hide-scrollbars",
            "--disable-background-networking", "--disable-component-update", "--disable-sync",
            "--remote-debugging-pipe"]


class Browser:
    """A page in Chromium; messages are JSON ended by a zero byte on descriptors 3 (in) and 4 (out)."""

    def __init__(self, program, profile):
        child_in, self.to_write = os.pipe()
        self.from_read, child_out = os.pipe()
        # Out of the way of 3 and 4, which they become in the browser.
        child_in, child_out = (fcntl.fcntl(fd, fcntl.F_DUPFD, 20) for fd in (child_in, child_out))

        def place():
            os.dup2(child_in, 3)
            os.dup2(child_out, 4)

        self.process = subprocess.Popen([program, *CHROMIUM, f"--user-data-dir={profile}", "about:blank"],
                                        preexec_fn=place, close_fds=False, stdout=subprocess.DEVNULL,
                                        stderr=subprocess.DEVNULL)
        os.close(child_in)
        os.close(child_out)
        self.buffer, self.number, self.events, self.session = b"", 0, [], None
        targets = self.call("Target.getTargets")["targetInfos"]
        page = next(target["targetId"] for target in targets if target["type"] == "page")
        self.session = self.call("Target.attachToTarget", targetId=page, flatten=True)["sessionId"]

    def receive(self):
        while b"\0" not in self.buffer:
            data = os.read(self.from_read, 65536)
            if not data:
                raise RuntimeError("the browser ended")
            self.buffer += data
        text, self.buffer = self.buffer.split(b"\0", 1)
        return json.loads(text)

    def call(self, method, **parameters):
        self.number += 1
        message = {"id": self.number, "method": method, "params": parameters}
        if self.session:
            message["sessionId"] = self.session
        os.write(self.to_write, json.dumps(message).encode() + b"\0")
        while True:
            answer = self.receive()
            if answer.get("id") == self.number:
                if "error" in answer:
                    raise RuntimeError(f"{method}: {answer['error']}")
                return answer["result"]
            self.events.append(answer)

    def wait_for(self, method):
        for event in self.events:
            if event.get("method") == method:
                return
        while True:
            event = self.receive()
            self.events.append(event)
            if event.get("method") == method:
                return

    def evaluate(self, expression):
        answer = self.call("Runtime.evaluate", expression=expression, awaitPromise=True, returnByValue=True)
        if "exceptionDetails" in answer:
            raise RuntimeError(str(answer["exceptionDetails"]))
        return answer["result"].get("value")

    def close(self):
        self.process.kill()
        self.process.wait()


def console_errors(events):
    errors = []
    for event in events:
        if event.get("method") == "Runtime.exceptionThrown":
            errors.append(str(event["params"]["exceptionDetails"].get("text")))
        if event.get("method") == "Log.entryAdded" and event["params"]["entry"]["level"] in ("error", "warning"):
            errors.append(event["params"]["entry"]["text"])
        if event.get("method") == "Runtime.consoleAPICalled" and event["params"]["type"] in ("error", "warning"):
            errors.append(str(event["params"]["args"]))
    return errors


def key(browser, name, code):
    for kind in ("keyDown", "keyUp"):
        browser.call("Input.dispatchKeyEvent", type=kind, key=name, code=name, windowsVirtualKeyCode=code)


def check_page(browser, url, operations):
    failures = []

    def expect(condition, text):
        if not condition:
            failures.append(text)

    for domain in ("Page", "Runtime", "Log"):
        browser.call(domain + ".enable")
    browser.call("Emulation.setDeviceMetricsOverride", width=1200, height=900, deviceScaleFactor=1, mobile=False)
    browser.call("Page.navigate", url=url)
    browser.wait_for("Page.loadEventFired")
    pictures = browser.evaluate(
        """(async () => {
             const all = [...document.images];
             for (const image of all) image.loading = 'eager';
             await Promise.all(all.map(image => image.decode().catch(() => {})));
             return all.map(image => [image.getAttribute('src'), image.naturalWidth, image.alt]);
           })()""")
    expect(len(pictures) > 5 * len(operations), f"only {len(pictures)} pictures")
    for source, width, alternative in pictures:
        expect(width > 0, f"{source} does not load")
        expect(alternative, f"{source} has no text alternative")
    for name in operations:
        expect(browser.evaluate(f"!!document.getElementById({json.dumps(name)})"), f"no section for {name}")

    slider = "document.querySelector('.compare input')"
    browser.evaluate(slider + ".focus()")
    before = browser.evaluate("document.querySelector('.compare').style.getPropertyValue('--part')")
    key(browser, "ArrowRight", 39)
    after = browser.evaluate("document.querySelector('.compare').style.getPropertyValue('--part')")
    expect(before == "50%" and after == "51%", f"the arrow key moves the slider from {before} to {after}")

    browser.evaluate("document.getElementById('find').focus()")
    browser.call("Input.insertText", text="blur")
    shown = browser.evaluate("[...document.querySelectorAll('nav li')].filter(i => !i.hidden).map(i => i.innerText)")
    expect(shown == ["blur", "gaussian-blur"], f"finding 'blur' shows {shown}")

    for width in (360, 800):
        browser.call("Emulation.setDeviceMetricsOverride", width=width, height=800, deviceScaleFactor=1, mobile=False)
        needed = browser.evaluate("document.scrollingElement.scrollWidth")
        expect(needed <= width, f"the page is {needed} wide in a window of {width}")
    for error in console_errors(browser.events):
        failures.append("console: " + error)
    return failures


def main():
    vel, photos = sys.argv[1], sys.argv[2:]
    program = shutil.which("chromium")
    if not program:
        print("skipped: chromium is not installed")
        return 77
    with tempfile.TemporaryDirectory() as folder:
        page = os.path.join(folder, "page")
        subprocess.run([vel, "gallery", *photos, "-o", page], check=True, stdout=subprocess.DEVNULL)
        again = subprocess.run([vel, "gallery", *photos, "-o", page], capture_output=True, text=True)
        failures = []
        if again.returncode != 4 or "exists" not in again.stderr:
            failures.append(f"a second run without --overwrite gives {again.returncode}: {again.stderr}")
        with open(os.path.join(page, "index.html"), encoding="utf-8") as f:
            outside = re.findall(r"""(?:src|href)=["'](?:https?:)?//[^"']*""", f.read())
        failures += [f"outside reference {text}" for text in outside]
        listing = json.loads(subprocess.run([vel, "ops", "--json"], check=True, capture_output=True, text=True).stdout)
        browser = Browser(program, os.path.join(folder, "profile"))
        try:
            failures += check_page(browser, "file://" + page + "/index.html",
                                   [operation["name"] for operation in listing["operations"]])
        finally:
            browser.close()
    for failure in failures:
        print("FAILED:", failure)
    print(f"gallery: {'ok' if not failures else str(len(failures)) + ' failures'}")
    return 1 if failures else 0


if __name__ == "__main__":
    sys.exit(main())
