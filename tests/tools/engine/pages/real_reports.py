"""Pages of real sessions, with a module that misbehaves in every way, as other programs read them.
Usage: real_reports.py PROGRAM MISBEHAVING REPORT_SCHEMA OCP_FOLDER   (as root)
Exit status 77: something to look with is not there; everything else was looked at."""
import json
import os
import re
import shutil
import signal
import subprocess
import sys
import tempfile
import time

program, misbehaving, report_schema, ocp_folder = map(os.path.abspath, sys.argv[1:])
if os.geteuid() != 0:
    print("tests run as root only")
    sys.exit(77)
# The folder of the day is not this machine's.
if "OWN_LOG_FOLDER" not in os.environ and subprocess.call(["unshare", "-m", "mount", "-t", "tmpfs", "none", "/var/log"]) == 0:
    os.environ["OWN_LOG_FOLDER"] = "yes"
    os.execvp("unshare", ["unshare", "-m", "sh", "-c", 'mount -t tmpfs none /var/log && exec "$0" "$@"', sys.executable] + sys.argv)
for name in ("LANG", "LC_ALL", "LC_MESSAGES"):
    os.environ.pop(name, None)
here = os.path.dirname(os.path.abspath(__file__))
THROWN = "std::exception: what went wrong\\x0ain \\x1b[31m<red>"


def wait_for(path, text):
    end = time.monotonic() + 30
    while not (os.path.exists(path) and text in open(path).read()):
        assert time.monotonic() < end, (path, text)
        time.sleep(0.05)


def expect(folder, pages):
    """What stands on the pages of the session in which everything happened, read by no reader of ours."""
    by_result = {"pass": "PASS", "fail": "FAIL", "crash": "EXITED ABNORMALLY", "throwStandard": "EXITED ABNORMALLY", "quit": "SKIPPED",
                 "waitForStop": "MAX TIME EXCEEDED", "lenient": "PASS", "flood": "PASS"}
    kind = {"PASS": "pass", "FAIL": "failure", "SKIPPED": "skipped", "EXITED ABNORMALLY": "error", "MAX TIME EXCEEDED": "error"}
    from xml.etree import ElementTree
    cases = {case.get("name").split()[0]: case for case in ElementTree.fromstring(pages["junit"]).iter("testcase")}
    assert {name: [child.tag for child in case if child.tag in kind.values()] or ["pass"] for name, case in cases.items()} == \
        {name: [kind[result]] for name, result in by_result.items()}, cases.keys()
    lines = [json.loads(line).get("testStepArtifact", {}) for line in pages["ocp"].splitlines()]
    verdicts = sorted(line["diagnosis"]["type"] for line in lines if "diagnosis" in line)
    assert verdicts == ["FAIL", "PASS", "PASS", "PASS", "UNKNOWN"], verdicts
    symptoms = sorted(line["error"]["symptom"] for line in lines if "error" in line)
    assert symptoms == ["exited-abnormally", "exited-abnormally", "max-time-exceeded"], symptoms
    ends = sorted(line["testStepEnd"]["status"] for line in lines if "testStepEnd" in line)
    assert ends == ["COMPLETE"] * 4 + ["ERROR"] * 3 + ["SKIP"], ends
    document = json.loads(pages["json"])
    assert {run["began"]["test"]: run["result"] for run in document["runs"]} == by_result, document["runs"]
    # What a test threw, in each form.
    assert any(THROWN in line["error"]["message"] for line in lines if "error" in line)
    assert any(THROWN in run["ended"]["note"] for run in document["runs"])
    assert THROWN in cases["throwStandard"].find("error").get("message")
    assert THROWN in pages["text"] and THROWN.replace("<", "&lt;").replace(">", "&gt;") in pages["html"]
    assert THROWN in re.sub(r"\n +", " ", open(os.path.join(folder, "all.out")).read()), "the table and what stands below it"


with tempfile.TemporaryDirectory() as folder:
    os.chmod(folder, 0o755)
    module = os.path.join(folder, "misbehaving")
    shutil.copy(misbehaving, module)
    os.chmod(module, 0o755)
    where = ["--modules", module, "--only-modules", "--report"]

    def start(report, *words):
        return subprocess.Popen([program, "run", *words, *where, os.path.join(folder, report + ".jsonl")], stdin=subprocess.DEVNULL,
                                stdout=open(os.path.join(folder, report + ".out"), "w"), stderr=subprocess.STDOUT, cwd=folder)

    tests = ["pass", "fail", "crash", "throwStandard", "quit", "waitForStop", "lenient", "flood"]
    status = start("all", *("misbehaving:" + test for test in tests), "--timeout", "8s").wait(120)
    assert status == 23, (status, open(os.path.join(folder, "all.out")).read())
    for report, how, status in (("stopped", signal.SIGTERM, 24), ("killed", signal.SIGKILL, -signal.SIGKILL)):
        engine = start(report, "misbehaving:waitForStop", "misbehaving:pass", "misbehaving:noSuchDevice")
        wait_for(os.path.join(folder, report + ".jsonl"), '"percent"')
        engine.send_signal(how)
        assert engine.wait(60) == status, open(os.path.join(folder, report + ".out")).read()

    files = []
    for report in ("all", "stopped", "killed"):
        path = os.path.join(folder, report + ".jsonl")
        files.append(path)
        pages = {}
        for form in ("html", "junit", "ocp", "json", "text"):
            page = os.path.join(folder, report + "." + form)
            subprocess.run([program, "report", path, "--to", form, "--output", page], check=True)
            pages[form] = open(page, encoding="utf-8").read()
            if form != "text":
                files.append(page)
        if report == "all":
            expect(folder, pages)
    python = "/usr/bin/python3" if os.path.exists("/usr/bin/python3") else sys.executable  # the system's own, which has the packages
    read = subprocess.run([python, "-W", "ignore", os.path.join(here, "check_pages.py"), report_schema, ocp_folder] + files).returncode
    shown = max(subprocess.run([sys.executable, os.path.join(here, "browser.py"), program, os.path.join(folder, report + ".jsonl")]).returncode
                for report in ("all", "killed"))
    assert {read, shown} <= {0, 77}, (read, shown)
    sys.exit(max(read, shown))
