import copy
import json
import os
import pathlib

import jsonschema
from support import ToolTest, collection, item

SOURCE = pathlib.Path(os.environ["TESSARON_SOURCE"])
SCHEMA = json.loads((SOURCE / "docs" / "collection.schema.json").read_text())
# Items with what no response holds: odd numbers, dates that do not exist, a slot without a name.
ODD = collection(
    item("A1", attributes=' icon="-3" status="42"', inner="<DateAdded>65535</DateAdded>"),
    item("A2", attributes=' status="1"', inner="<StatusEndDate>1</StatusEndDate><StatusTarget/>"),
    item("A3", inner='<CustomFields><CustomField name="" value="v"/></CustomFields>'
                     "<DateAdded>13089</DateAdded>"),
    "<Item/>",
)


class Schema(ToolTest):
    def validator(self, schema):
        return jsonschema.Draft202012Validator(schema, format_checker=jsonschema.FormatChecker())

    def setUp(self):
        super().setUp()
        jsonschema.Draft202012Validator.check_schema(SCHEMA)
        examples = [SOURCE / "examples" / name for name in ("response.xml", "response_v3.xml")]
        self.tool("import", "-c", "c.xml", *examples)
        self.tool("set", "-c", "c.xml", "EXB0000001", "--status", "lent", "--target", "Mo",
                  "--from", "today", "--until", "tomorrow", "--icon", "7", "--field", "Shelf=4")
        self.write("odd.xml", ODD)

    def test_all_that_is_printed_fits_the_schema(self):
        whole = self.validator(SCHEMA)
        one = self.validator({"$ref": "#/$defs/record", "$defs": SCHEMA["$defs"]})
        for file, count in (("c.xml", 15), ("odd.xml", 4)):
            for verb in (["export", "-c", file, "--json"], ["list", "-c", file, "--json"]):
                records = json.loads(self.tool(*verb).out)
                self.assertEqual(len(records), count)
                whole.validate(records)
        one.validate(self.json("show", "-c", "c.xml", "EXB0000001"))
        self.write("empty.xml", collection())
        self.assertEqual(json.loads(self.tool("export", "-c", "empty.xml", "--json").out), [])

    def test_the_schema_allows_nothing_else(self):
        record = self.json("show", "-c", "c.xml", "EXB0000001")
        one = self.validator({"$ref": "#/$defs/record", "$defs": SCHEMA["$defs"]})
        self.assertTrue(one.is_valid(record))
        described = SCHEMA["$defs"]["record"]
        self.assertEqual(list(record), described["required"])
        self.assertEqual(list(record), list(described["properties"]))
        for key in record:
            for value in ([None], {"x": 1}, 1.5):
                self.assertFalse(one.is_valid({**record, key: value}), key)
            self.assertFalse(one.is_valid({k: v for k, v in record.items() if k != key}), key)
        self.assertFalse(one.is_valid({**record, "Colour": "blue"}))
        for part, change in (("status", {"due": 3}), ("status", {"end": "22.11.2026"}),
                             ("offerListing", {"Price": None})):
            other = copy.deepcopy(record)
            other[part].update(change)
            self.assertFalse(one.is_valid(other), change)
