import datetime

from support import ToolTest, collection, item

TODAY = datetime.datetime.now(datetime.timezone.utc).date()


def loan(asin, days, title="Title", status=0):
    day = TODAY + datetime.timedelta(days=days)
    date = (day.year - 1980) << 9 | day.month << 5 | day.day
    return item(asin, title, f"<StatusEndDate>{date}</StatusEndDate>", f' status="{status}"')


def unfolded(text):
    return text.replace("\r\n ", "").split("\r\n")[:-1]


class Due(ToolTest):
    def setUp(self):
        super().setUp()
        if datetime.datetime.now(datetime.timezone.utc).date() != TODAY:
            self.skipTest("the day has changed since the test began")

    def test_lists_overdue_items_first_and_by_date(self):
        self.write("c.xml", collection(
            loan("SOON", 2), loan("TOMORROW", 1), loan("LATER", 3), loan("SOLD", -9, status=5),
            loan("LONG", -400, status=3), loan("TODAY", 0), loan("LATE", -1), item("NEVER")))
        marks = [("LONG", "overdue", -400), ("LATE", "overdue", -1), ("TODAY", "due", 0),
                 ("TOMORROW", "due", 1), ("SOON", "due soon", 2), ("LATER", "later", 3)]
        for arguments, count in [([], 5), (["--within", 3], 6), (["--within", 1], 4),
                                 (["--within", 0], 3)]:
            with self.subTest(arguments=arguments):
                found = self.json("due", "-c", "c.xml", *arguments)
                self.assertEqual([(i["ASIN"], i["state"], i["daysLeft"]) for i in found],
                                 marks[:count])
        lines = self.tool("due", "-c", "c.xml").out.splitlines()
        self.assertRegex(lines[1], r"^LONG +Title +Rented +\d{4}-\d\d-\d\d +overdue +-400$")
        self.assertEqual(len(lines), 6)

    def test_nothing_due(self):
        self.write("c.xml", collection(loan("A1", 30)))
        self.assert_failures([
            (1, "c.xml: nothing", "due", "-c", "c.xml"),
            (2, '"-1" is no number of days from 0 to 99999 ', "due", "-c", "c.xml", "--within", "-1"),
            (2, "excludes", "due", "-c", "c.xml", "--json", "--ics"),
        ])
        self.assertEqual(unfolded(self.tool("due", "-c", "c.xml", "--ics", code=1).out)[-1],
                         "END:VCALENDAR")

    def test_calendar(self):
        title = "Semi; comma, back\\slash &#10;" + "Grüße 🍏 " * 12
        self.write("c.xml", collection(loan("A1", 0, title), loan("A1", 1), loan("B/2", 2)))
        done = self.tool("due", "-c", "c.xml", "--ics")
        lines = done.stdout.split(b"\r\n")
        self.assertEqual(lines.pop(), b"")
        self.assertFalse(any(b"\n" in line or b"\r" in line for line in lines))
        self.assertLessEqual(max(map(len, lines)), 75)
        for line in lines:
            line.decode()  # no character is torn apart
        calendar = unfolded(done.out)
        self.assertEqual(calendar[:2], ["BEGIN:VCALENDAR", "VERSION:2.0"])
        self.assertEqual(calendar.count("BEGIN:VEVENT"), 3)
        self.assertIn(r"SUMMARY:Due: Semi\; comma\, back\\slash \n" + "Grüße 🍏 " * 12, calendar)
        self.assertIn(f"DTSTART;VALUE=DATE:{TODAY:%Y%m%d}", calendar)
        ids = [line for line in calendar if line.startswith("UID:")]
        self.assertEqual(len(set(ids)), 3)
        again = unfolded(self.tool("due", "-c", "c.xml", "--ics").out)
        self.assertEqual(ids, [line for line in again if line.startswith("UID:")])
