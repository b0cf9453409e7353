"""Lays a report's page out in a browser, wide and narrow, and measures it. Usage: browser.py PROGRAM PAGE
Exit status 77: there is no Chromium here. PROGRAM is krel5-engine, PAGE a report that becomes the page."""
import json
import os
import re
import shutil
import subprocess
import sys
import tempfile

# A word of ordinary length stands on one line.
MEASURE = """<script>
const broken = [];
for (const walker = document.createTreeWalker(document.body, NodeFilter.SHOW_TEXT); walker.nextNode();)
  for (const word of walker.currentNode.data.matchAll(/[^\\s]{2,16}(?=\\s|$)/g)) {
    if (word.index > 0 && !/\\s/.test(walker.currentNode.data[word.index - 1])) continue;
    const range = document.createRange();
    range.setStart(walker.currentNode, word.index);
    range.setEnd(walker.currentNode, word.index + word[0].length);
    if (!/[-\\/]/.test(word[0]) && new Set([...range.getClientRects()].map(one => Math.round(one.top))).size > 1) broken.push(word[0]);
  }
document.body.textContent = "measured " + JSON.stringify({inner: innerWidth, scroll: document.documentElement.scrollWidth,
  broken: broken, rows: document.querySelectorAll(".results tbody tr").length,
  links: [...document.querySelectorAll("a")].filter(one => !document.querySelector(one.getAttribute("href"))).length}) + " end";
</script></body>"""

chromium = shutil.which("chromium") or shutil.which("chromium-browser")
if not chromium:
    print("there is no Chromium here")
    sys.exit(77)
program, report = sys.argv[1:]
page = subprocess.run([program, "report", report, "--to", "html"], check=True, capture_output=True, text=True).stdout
runs = sum(json.loads(line)["record"] == "run-began" for line in open(report))
assert runs > 0
# What the page forbids itself is taken out of the copy that is measured: it has no scripts of its own.
measured, cuts = re.subn(r'<meta http-equiv="Content-Security-Policy"[^>]*>', "", page)
measured, ends = re.subn("</body>", lambda _: MEASURE, measured)
assert cuts == ends == 1, (cuts, ends)


def shown(folder, name, text, width):
    path = os.path.join(folder, name)
    with open(path, "w", encoding="utf-8") as file:
        file.write(text)
    return subprocess.run(
        [chromium, "--headless", "--no-sandbox", "--disable-gpu", "--disable-dev-shm-usage", "--user-data-dir=" + folder + "/profile",
         "--host-resolver-rules=MAP * ~NOTFOUND", "--window-size=%d,1000" % width, "--dump-dom", "file://" + path],
        check=True, capture_output=True, text=True, timeout=120, env=dict(os.environ, HOME=folder)).stdout


with tempfile.TemporaryDirectory() as folder:
    for width in (1200, 500):
        dom = shown(folder, "measured.html", measured, width)
        found = re.search("measured (.*) end", dom)
        assert found, dom[:2000]
        sizes = json.loads(found[1])
        print(width, sizes)
        assert sizes["scroll"] <= sizes["inner"], "wider than the window"
        assert not sizes["broken"], "words that break in the middle"
        assert sizes["rows"] >= runs and sizes["links"] == 0
    if len(shown(folder, "page.html", page, 800)) < len(page) / 2:
        sys.exit("the page as it is shows less than it has")
