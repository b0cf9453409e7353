#!/usr/bin/python3
"""Usage: check_metrics.py URL: reads the endpoint as others do. Ends with 77 where nobody else is there to read it."""
import shutil
import subprocess
import sys
import urllib.error
import urllib.request

url = sys.argv[1]
opener = urllib.request.build_opener(urllib.request.ProxyHandler({}))
answer = opener.open(url, timeout=10)
text = answer.read().decode("utf-8")
wrong = []
if not answer.headers["Content-Type"].startswith("text/plain; version=0.0.4"):
    wrong.append("content type " + answer.headers["Content-Type"])
for path, method, status in (("/nothing", "GET", 404), ("/metrics", "POST", 405)):
    try:
        opener.open(urllib.request.Request(url.replace("/metrics", path), method=method, data=None if method == "GET" else b"x"), timeout=10)
        wrong.append(f"{method} {path} is answered")
    except urllib.error.HTTPError as error:
        if error.code != status:
            wrong.append(f"{method} {path}: {error.code}")
readers = 0
if shutil.which("promtool"):
    readers += 1
    lint = subprocess.run(["promtool", "check", "metrics"], input=text, capture_output=True, text=True)
    if lint.returncode != 0 or lint.stdout or lint.stderr:
        wrong.append("promtool: " + lint.stdout + lint.stderr)
try:
    from prometheus_client.parser import text_string_to_metric_families
except ImportError:
    pass
else:
    readers += 1
    families = {family.name: family for family in text_string_to_metric_families(text)}
    heat = {(s.labels["module"], s.labels["device"]): s.value for s in families["krel5_temperature_celsius"].samples}
    if not all(40 <= value <= 44 for value in heat.values()) or ("alarms", "Gauge 1") not in heat:
        wrong.append(f"temperatures {heat}")
    if ("nasty", 'Gauge "1" \x1b[2J\\\n{x}') not in heat:
        wrong.append(f"a name with signs did not come through: {heat}")
    if any(module == "dies" for module, _ in heat):
        wrong.append("readings of a module that is gone")
    up = {s.labels["module"]: s.value for s in families["krel5_module_up"].samples}
    if up != {"nasty": 1, "alarms": 1, "dies": 0}:
        wrong.append(f"modules {up}")
    if families["krel5_read_errors"].type != "counter":
        wrong.append("a counter is none")
    if {s.value for s in families["krel5_use_ratio"].samples} != {0.125}:
        wrong.append("a percentage is no ratio")
    if {s.labels["type"] for s in families["krel5_alert_active"].samples} != {"CRITICAL", "HARDWARE_ISSUE"}:
        wrong.append("alerts are missing")
print("\n".join(wrong))
sys.exit(1 if wrong else 0 if readers else 77)
