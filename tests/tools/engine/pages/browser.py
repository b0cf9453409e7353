"""Shows a report's page in a browser: wide and narrow, light and dark, on a screen and on paper. Usage: browser.py PROGRAM REPORT
Exit status 77: there is no Chromium here. PROGRAM is krel5-engine, REPORT becomes the page."""
import json
import os
import re
import select
import shutil
import subprocess
import sys
import tempfile
import time

# A word of ordinary length stands on one line, and every text is to be told from what is behind it.
MEASURE = r"""(() => {
const broken = [], parts = color => (color.match(/[\d.]+/g) || []).map(Number);
const over = (top, below) => { const a = top.length > 3 ? top[3] : 1; return [0, 1, 2].map(i => top[i] * a + below[i] * (1 - a)); };
const light = color => [0.2126, 0.7152, 0.0722].reduce((sum, share, i) => {
  const c = color[i] / 255; return sum + share * (c <= 0.04045 ? c / 12.92 : ((c + 0.055) / 1.055) ** 2.4); }, 0);
const sheet = document.createElement("div");
sheet.style.background = "Canvas";
document.body.append(sheet);
const paper = parts(getComputedStyle(sheet).backgroundColor);
sheet.remove();
const behind = element => element ? over(parts(getComputedStyle(element).backgroundColor), behind(element.parentElement)) : paper;
let faintest = 21, faint = "";
for (const walker = document.createTreeWalker(document.body, NodeFilter.SHOW_TEXT); walker.nextNode();) {
  const node = walker.currentNode;
  if (node.data.trim() && node.parentElement.getClientRects().length) {
    const back = behind(node.parentElement), [a, b] = [light(over(parts(getComputedStyle(node.parentElement).color), back)), light(back)];
    const contrast = (Math.max(a, b) + 0.05) / (Math.min(a, b) + 0.05);
    if (contrast < faintest) [faintest, faint] = [contrast, node.data.trim().slice(0, 40)];
  }
  for (const word of node.data.matchAll(/[^\s]{2,16}(?=\s|$)/g)) {
    if (word.index > 0 && !/\s/.test(node.data[word.index - 1])) continue;
    const range = document.createRange();
    range.setStart(node, word.index);
    range.setEnd(node, word.index + word[0].length);
    if (!/[-\/]/.test(word[0]) && new Set([...range.getClientRects()].map(one => Math.round(one.top))).size > 1) broken.push(word[0]);
  }
}
return {inner: innerWidth, scroll: document.documentElement.scrollWidth, broken: broken, faintest: faintest, faint: faint, paper: light(paper),
  rows: document.querySelectorAll(".results tbody tr").length,
  links: [...document.querySelectorAll("a")].filter(one => !document.querySelector(one.getAttribute("href"))).length};
})()"""
PATIENCE = 60  # seconds, for one answer


class Browser:
    """One page after the other, and everything that the browser says of each."""

    def __init__(self, program, folder):
        to_browser, self.out = os.pipe()
        self.into, from_browser = os.pipe()

        def inherit():  # the browser has its commands on 3 and 4
            ends = [os.dup2(end, place, inheritable=False) for end, place in ((to_browser, 30), (from_browser, 31))]
            for place, end in zip((3, 4), ends):
                os.dup2(end, place)

        self.process = subprocess.Popen(
            [program, "--headless", "--no-sandbox", "--disable-gpu", "--disable-dev-shm-usage", "--user-data-dir=" + folder + "/profile",
             "--host-resolver-rules=MAP * ~NOTFOUND", "--remote-debugging-pipe"],
            stdin=subprocess.DEVNULL, stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL, close_fds=False, preexec_fn=inherit,
            env=dict(os.environ, HOME=folder))
        os.close(to_browser)
        os.close(from_browser)
        self.count, self.rest, self.session, self.heard = 0, b"", None, []
        target = self.ask("Target.createTarget", url="about:blank")["targetId"]
        self.session = self.ask("Target.attachToTarget", targetId=target, flatten=True)["sessionId"]
        for domain in ("Page", "Runtime", "Log", "Network"):
            self.ask(domain + ".enable")

    def ask(self, method, **parameters):
        self.count += 1
        message = {"id": self.count, "method": method, "params": parameters}
        if self.session:
            message["sessionId"] = self.session
        os.write(self.out, json.dumps(message).encode() + b"\0")
        answer = self.hear(lambda one: one.get("id") == self.count)
        assert "result" in answer, (method, answer)
        return answer["result"]

    def hear(self, is_it):
        end = time.monotonic() + PATIENCE
        while True:
            while b"\0" in self.rest:
                line, self.rest = self.rest.split(b"\0", 1)
                message = json.loads(line)
                self.heard.append(message)
                if is_it(message):
                    return message
            assert select.select([self.into], [], [], max(0, end - time.monotonic()))[0], "the browser does not answer"
            data = os.read(self.into, 1 << 16)
            assert data, "the browser is gone"
            self.rest += data

    def show(self, path, width, scheme="light", media="screen"):
        """The measures, and what went wrong or would have left the machine."""
        self.heard = []
        self.ask("Emulation.setDeviceMetricsOverride", width=width, height=1000, deviceScaleFactor=1, mobile=False)
        self.ask("Emulation.setEmulatedMedia", media=media, features=[{"name": "prefers-color-scheme", "value": scheme}])
        url = "file://" + path
        self.ask("Page.navigate", url=url)
        if not any(one.get("method") == "Page.loadEventFired" for one in self.heard):
            self.hear(lambda one: one.get("method") == "Page.loadEventFired")
        result = self.ask("Runtime.evaluate", expression=MEASURE, returnByValue=True)
        assert "exceptionDetails" not in result, result
        troubles = [one["params"] for one in self.heard
                    if one.get("method") in ("Log.entryAdded", "Runtime.consoleAPICalled", "Runtime.exceptionThrown")]
        troubles += [one["params"]["request"]["url"] for one in self.heard
                     if one.get("method") == "Network.requestWillBeSent" and one["params"]["request"]["url"] != url]
        return result["result"]["value"], troubles

    def close(self):
        try:
            self.session = None
            self.ask("Browser.close")
            self.process.wait(PATIENCE)
        finally:
            self.process.kill()


chromium = shutil.which("chromium") or shutil.which("chromium-browser")
if not chromium:
    print("there is no Chromium here")
    sys.exit(77)
program, report = sys.argv[1:]
page = subprocess.run([program, "report", report, "--to", "html"], check=True, capture_output=True, text=True).stdout
runs = sum(json.loads(line)["record"] == "run-began" for line in open(report))
assert runs > 0

with tempfile.TemporaryDirectory(ignore_cleanup_errors=True) as folder:
    def kept(name, text):
        path = os.path.join(folder, name)
        with open(path, "w", encoding="utf-8") as file:
            file.write(text)
        return path

    browser = Browser(chromium, folder)
    try:
        path = kept("page.html", page)
        for width, scheme, media in ((1200, "light", "screen"), (500, "light", "screen"), (1200, "dark", "screen"), (500, "dark", "screen"),
                                     (720, "light", "print"), (720, "dark", "print")):
            sizes, troubles = browser.show(path, width, scheme, media)
            where = (width, scheme, media, sizes)
            print(*where)
            assert not troubles, (where, troubles)
            assert sizes["scroll"] <= sizes["inner"], ("wider than the window", where)
            assert not sizes["broken"], ("words that break in the middle", where)
            assert sizes["rows"] >= runs and sizes["links"] == 0, where
            assert sizes["faintest"] >= 4.5, ("hardly to be read", where)
            assert (sizes["paper"] < 0.2) if (scheme, media) == ("dark", "screen") else (sizes["paper"] == 1), where
        # Would a mistake be seen?
        for name, place, mistake in (("ask", "</body>", '<img src="http://127.0.0.1:1/pixel.png" /></body>'),
                                     ("fail", "</body>", "<script>nothing.there()</script></body>"),
                                     ("faint", "--quiet: #666", "--quiet: #bbb"),
                                     ("wide", "</body>", '<p style="width: 3000px">wide</p></body>')):
            assert place in page, place
            spoilt = page.replace(place, mistake)
            for policy in (True, False):
                text = spoilt if policy else re.sub(r'<meta http-equiv="Content-Security-Policy"[^>]*>', "", spoilt)
                sizes, troubles = browser.show(kept(name + ".html", text), 1200)
                assert troubles or sizes["faintest"] < 4.5 or sizes["scroll"] > sizes["inner"], (name, policy, sizes)
    finally:
        browser.close()
