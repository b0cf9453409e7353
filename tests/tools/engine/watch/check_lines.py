#!/usr/bin/python3
"""Usage: check_lines.py SCHEMA FILE: reads what krel5-engine watch --json wrote as a program does."""
import json
import sys

try:
    import jsonschema
except ImportError:
    sys.exit(77)

schema = json.load(open(sys.argv[1]))
jsonschema.Draft202012Validator.check_schema(schema)
validator = jsonschema.Draft202012Validator(schema)
lines = [json.loads(line) for line in open(sys.argv[2], encoding="utf-8")]
wrong = [f"line {number}: {error.message}" for number, line in enumerate(lines, 1) for error in validator.iter_errors(line)]
if [line["event"] for line in lines if line["event"] in ("begin", "end")] != ["begin", "end"]:
    wrong.append("not one beginning and one end")
times = [line["time"] for line in lines]
if times != sorted(times):
    wrong.append("the times go back")
print("\n".join(wrong))
sys.exit(1 if wrong else 0)
