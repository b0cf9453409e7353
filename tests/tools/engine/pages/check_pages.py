"""Looks at pages as other programs do. Usage: check_pages.py REPORT_SCHEMA OCP_FOLDER FILE.{html,junit,json,jsonl,ocp}...
Exit status 77: something to look with is not there; everything else was looked at."""
import json
import os
import sys
from html.parser import HTMLParser
from urllib.parse import urljoin
from xml.etree import ElementTree

HIDDEN = [chr(c) for c in range(0xA0) if (c < 32 and chr(c) not in "\n\t") or 0x7F <= c] + list("\u202e\u2066\u2028")


class Html(HTMLParser):
    """What a browser would run, or get from elsewhere."""

    def handle_starttag(self, tag, attributes):
        assert tag not in ("script", "img", "link", "iframe", "object", "base", "form"), tag
        for name, value in attributes:
            assert not name.startswith("on"), name
            assert name not in ("src", "action") and (name != "href" or value.startswith("#")), (name, value)


def check_html(page):
    Html().feed(page)
    assert "url(" not in page and "@import" not in page
    ElementTree.fromstring(page.split("\n", 1)[1])


def check_junit(page):
    if junitparser:
        for suite in junitparser.JUnitXml.fromstring(page.encode()):
            results = [case.result[0] if case.result else None for case in suite]
            for kind, count in ((junitparser.Failure, suite.failures), (junitparser.Error, suite.errors),
                                (junitparser.Skipped, suite.skipped)):
                assert count == sum(isinstance(one, kind) for one in results), (kind, count, results)
            assert suite.tests == len(results) and suite.time >= 0
    for suite in ElementTree.fromstring(page):
        cases = suite.findall("testcase")
        assert int(suite.get("tests")) == len(cases)
        for kind, count in (("failure", "failures"), ("error", "errors"), ("skipped", "skipped")):
            assert int(suite.get(count)) == sum(case.find(kind) is not None for case in cases), (kind, suite.attrib)
        names = [case.get("name") for case in cases]
        assert len(set(names)) == len(names), names


def make_absolute(node, base):
    """What files call each other and their own parts, in full: versions of the validator differ in what is left to them."""
    for key, value in node.items() if isinstance(node, dict) else enumerate(node) if isinstance(node, list) else ():
        if key == "$ref":
            node[key] = urljoin(base, value)
        else:
            make_absolute(value, base)


def validator(schema, others=()):
    resolver = jsonschema.RefResolver(schema.get("$id", ""), schema, store={one["$id"]: one for one in others})
    return jsonschema.Draft202012Validator(schema, resolver=resolver)


def ocp_validator(folder):
    schemas = [json.load(open(os.path.join(folder, name))) for name in sorted(os.listdir(folder))]
    for one in schemas:
        make_absolute(one, one["$id"])
    return validator(next(one for one in schemas if one["$id"].endswith("/output")), schemas)


def check_ocp(page, check):
    lines = [json.loads(line) for line in page.splitlines()]
    open_steps = set()
    for number, line in enumerate(lines):
        check.validate(line)
        assert line["sequenceNumber"] == number
        step = line.get("testStepArtifact")
        if step and "testStepStart" in step:
            open_steps.add(step["testStepId"])
        elif step:
            assert step["testStepId"] in open_steps, step
            if "testStepEnd" in step:
                open_steps.remove(step["testStepId"])
    # Would a mistake be seen?
    assert not check.is_valid(dict(lines[1], weather="fine")) and not check.is_valid({"sequenceNumber": 1})
    start = json.loads(json.dumps(lines[1]))
    start["testRunArtifact"]["testRunStart"].pop("version")
    assert not check.is_valid(start)


try:
    import jsonschema
except ImportError:
    jsonschema = None
try:
    import junitparser
except ImportError:
    junitparser = None
report_check = jsonschema and validator(json.load(open(sys.argv[1])))
ocp_check = jsonschema and os.path.isdir(sys.argv[2]) and ocp_validator(sys.argv[2])
missing = ([] if jsonschema else ["python3-jsonschema"]) + ([] if junitparser else ["python3-junitparser"])
for path in sys.argv[3:]:
    form = path.rsplit(".", 1)[1]
    page = open(path, encoding="utf-8", newline="").read()
    try:
        if form != "junit":  # a reader of XML gets back what there was, as references
            assert not [c for c in HIDDEN if c in page]
        if form == "html":
            check_html(page)
        elif form == "junit":
            check_junit(page)
        elif form in ("json", "jsonl"):
            for line in [page] if form == "json" else page.splitlines():
                report_check and report_check.validate(json.loads(line))
        elif ocp_check:
            check_ocp(page, ocp_check)
        else:
            missing.append(sys.argv[2])
    except Exception as error:
        sys.exit(f"{path}: {type(error).__name__}: {str(error)[:2000]}")
if missing:
    print("not looked at, for want of " + missing[0])
    sys.exit(1 if os.environ.get("CI") and not (jsonschema and junitparser) else 77)
