"""What is said of the tags of real files, against ffprobe and exiftool."""

import json
import subprocess

from support import ToolTest

SOUND = "-f lavfi -i sine=d=3:r=44100 -ac 2"
FILM = "-f lavfi -i testsrc=d=1:s=64x48 -f lavfi -i sine=d=1"
FILES = [
    ("a.mp3", SOUND),
    ("old.mp3", f"{SOUND} -id3v2_version 3 -write_id3v1 1"),
    ("a.ogg", f"{SOUND} -c:a libvorbis"),
    ("a.mp4", SOUND),
    ("two.mp4", "-f lavfi -i anullsrc=cl=5.1 -f lavfi -i anullsrc=cl=mono -map 0 -map 1 -t 1 "
                "-c:a:0 ac3 -c:a:1 aac"),
    ("a.wav", SOUND),
    ("a.aiff", f"{SOUND} -write_id3v2 1"),
    ("a.wma", f"{SOUND} -metadata WM/Year=2004"),
    ("a.wmv", f"{FILM} -metadata WM/Year=2004"),
]
TAGS = {"title": "Größe", "artist": "星を編む", "album": "A & B", "date": "2004", "track": "3",
        "genre": "Jazz", "copyright": "© me", "comment": "fine; very", "composer": "Bach",
        "album_artist": "Various"}
LABELS = {"artist": "Author", "date": "Year", "album_artist": "Album Artist"}

# What exiftool calls a property, what it is set to, and what we call it and make of its text.
PROPERTIES = [
    ("ImageDescription", "a view", "Description", "{}"),
    ("Software", "Prog 1.0", "Creation Software", "{}"),
    ("Artist", "Müller", "Author", "{}"),
    ("UserComment", "星 seen", "Comment", "{}"),
    ("Make", "Acme", "Camera Make", "{}"),
    ("Model", "Foto 3", "Camera Model", "{}"),
    ("ExposureTime", "1/125", "Exposure Time", "{} s"),
    ("FNumber", "2.8", "F-Number", "f/{}"),
    ("ISO", "400", "ISO Speed", "{}"),
    ("ShutterSpeedValue", "1/60", "Shutter Speed", "{} s"),
    ("ApertureValue", "5.6", "Aperture", "f/{}"),
    ("SubjectDistance", "2.5", "Subject Distance", "{}"),
    ("FocalLength", "50.5", "Focal Length", "{}"),
    ("FocalLengthIn35mmFormat", "75", "35 mm Focal Length", "{}"),
    ("GPSLatitude", "33.8565", "Latitude", "{} S"),
]


class Tags(ToolTest):
    def meta(self, path):
        [folder] = self.json("scan", path)
        [file] = folder["files"]
        return {entry["label"]: entry["value"] for entry in file["metaInfo"].values()}

    def test_says_what_ffprobe_says(self):
        tags = [word for name, text in TAGS.items() for word in ("-metadata", f"{name}={text}")]
        for name, arguments in FILES:
            with self.subTest(name):
                path = self.folder / name
                subprocess.run(["ffmpeg", "-v", "error", *arguments.split(), *tags, path],
                               check=True)
                probe = json.loads(subprocess.check_output(
                    ["ffprobe", "-v", "error", "-show_format", "-show_streams", "-of", "json",
                     path]))
                theirs = {key.lower(): text for holder in [probe["format"], *probe["streams"]]
                          for key, text in holder.get("tags", {}).items() if key.lower() in TAGS}
                self.assertGreaterEqual(len(theirs), 8)
                ours = self.meta(path)
                self.assertEqual({key: ours.get(LABELS.get(key, key.capitalize()))
                                  for key in theirs}, theirs)
                if name == "two.mp4":
                    self.assertNotIn("Channels", ours)
                if arguments.startswith(SOUND):
                    self.assertEqual(ours["Channels"], "2")
                    self.assertEqual(ours["Sample"], "44100 Hz")
                    self.assertEqual(ours["Run Time"], "0:03")

    def test_says_what_exiftool_says(self):
        for name in ("a.jpg", "a.tiff"):
            with self.subTest(name):
                path = self.folder / name
                subprocess.run(["ffmpeg", "-v", "error", "-f", "lavfi", "-i", "testsrc=s=64x48",
                                "-frames:v", "1", path], check=True)
                values = [f"-EXIF:{tag}={text}" for tag, text, *_ in PROPERTIES]
                subprocess.run(["exiftool", "-q", "-overwrite_original", *values,
                                "-EXIF:GPSLatitudeRef=S", path], check=True)
                [theirs] = json.loads(subprocess.check_output(
                    ["exiftool", "-j", "-EXIF:all", "-c", "%d° %d' %.1f\"", path]))
                ours = self.meta(path)
                for tag, _, label, form in PROPERTIES:
                    self.assertEqual(ours[label], form.format(theirs[tag]))
