from support import ToolTest


class Codec(ToolTest):
    def test_names_tags_and_fourccs(self):
        rows = [
            ("0x55", "audio", 0x55, "MPEG-1 Layer 3"),
            ("48", "audio", 48, "\tDolby AC2"),
            ("XVID", "video", 0x44495658, "XviD MPEG-4"),
        ]
        codes = [row[0] for row in rows]
        expected = [dict(zip(("code", "kind", "value", "name"), row)) for row in rows]
        self.assertEqual(self.json("codec", *codes), expected)
        lines = self.tool("codec", *codes).out.splitlines()
        self.assertEqual([lines[0].split(), lines[2].split(), len(lines)],
                         [["Code", "Kind", "Name"], ["48", "audio", "Dolby", "AC2"], 4])
        self.assertEqual(self.tool("codec", "85", "--tsv").out,
                         "code\tkind\tvalue\tname\n85\taudio\t85\tMPEG-1 Layer 3\n")
        done = self.tool("codec", "0x55", "QQQQ", "4", "--csv", code=1)
        self.assertIn("0x55,audio,85,MPEG-1 Layer 3", done.out)
        self.assertIn("'QQQQ', '4'", done.err)
        self.assert_failures([
            (1, "'IAN '", "codec", "IAN "),
            (2, "'XVIDX'", "codec", "XVIDX"),
            (2, "'0xGGG'", "codec", "0xGGG"),
            (2, "'4294967296'", "codec", "4294967296"),
            (2, "CODE", "codec"),
        ])
