"""validate.py SCHEMA DOCUMENTS: what a JSON Schema says of each line of a file of JSON documents.

Writes a line for each: the places of its errors with the keyword that refuses them, sorted; an empty line when there
are none. Ends with an error when the schema is none.
"""

import json
import sys

from jsonschema import Draft7Validator

with open(sys.argv[1], encoding="utf-8") as file:
    schema = json.load(file)
if schema["$schema"] != Draft7Validator.META_SCHEMA["$schema"]:
    sys.exit("another draft: " + schema["$schema"])
Draft7Validator.check_schema(schema)
validator = Draft7Validator(schema)
with open(sys.argv[2], encoding="utf-8") as file:
    for line in file:
        errors = validator.iter_errors(json.loads(line))
        print("; ".join(sorted({f"{error.json_path} {error.validator}" for error in errors})))
