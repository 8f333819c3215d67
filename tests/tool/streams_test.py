"""What the library says by name of the streams and tags of real files, against ffprobe and exiftool."""

import fractions
import json
import subprocess

from support import ToolTest, ffmpeg

SOUND = "-f lavfi -i sine=d=2:r=44100"
STEREO = SOUND + " -ac 2"
FILM = f"-f lavfi -i testsrc=s=320x240:d=2:r=25 {SOUND}"
NTSC = FILM.replace("r=25", "r=30000/1001")

# File, how ffmpeg makes it, formats and aspect ratios of its pictures, formats of its sound.
FILES = [
    ("one.mpg", f"{FILM} -f mpeg -c:v mpeg1video -c:a mp2 -b:a 128k", ["MPEG-1 4:3"], ["MPEG-1"]),
    ("wide.mpg", f"{FILM} -f vob -aspect 16:9 -c:a mp2", ["MPEG-2 16:9"], ["MPEG-1"]),
    ("narrow.mpeg", f"{NTSC} -f vob -aspect 4:3 -c:a ac3", ["MPEG-2 3:4"], ["Dolby AC3"]),
    ("xvid.avi", f"{FILM} -c:v mpeg4 -vtag XVID -c:a libmp3lame -b:a 128k", ["XviD MPEG-4 4:3"],
     ["MPEG-1 Layer 3"]),
    ("jpeg.avi", f"{NTSC} -c:v mjpeg -c:a pcm_s16le", ["Motion JPEG 4:3"], ["Microsoft Wave PCM"]),
    ("ffv1.avi", f"{FILM} -map 0 -map 1 -map 1 -c:v ffv1 -c:a adpcm_ms", ["FFmpeg video codec #1 4:3"],
     ["Microsoft Wave ADPCM"] * 2),
    ("codes.avi", f"{FILM} -c:v mpeg4 -c:a aac", ["MPEG-4 part 2 4:3"], ["AAC (Advanced Audio Coding)"]),
    ("film.wmv", f"{FILM} -c:v wmv2 -c:a wmav2 -metadata WM/Year=2004", ["Microsoft Windows Media Video 8 4:3"],
     ["Microsoft Windows Media Audio"]),
    ("film.mov", f"{FILM} -c:v mpeg4 -c:a aac", ["MPEG-4 part 2 4:3"], ["AAC (Advanced Audio Coding)"]),
    ("two.mp4", f"-f lavfi -i anullsrc=cl=5.1 {SOUND} -map 0 -map 1 -t 1 -c:a:0 ac3 -c:a:1 aac", [],
     ["Dolby AC3", "AAC (Advanced Audio Coding)"]),
    ("sound.wav", STEREO, [], ["Microsoft Wave PCM"]),
    ("sound.mp3", f"{STEREO} -b:a 128k", [], ["MPEG-1 Layer 3"]),
    ("old.mp3", f"{STEREO} -id3v2_version 3 -write_id3v1 1 -b:a 128k", [], ["MPEG-1 Layer 3"]),
    ("sound.ogg", f"{STEREO} -c:a libvorbis", [], ["Vorbis"]),
    ("sound.wma", f"{STEREO} -c:a wmav2 -b:a 64k -metadata WM/Year=2004", [], ["Microsoft Windows Media Audio"]),
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


def seconds(text):
    minutes, rest = text.split(":")
    return int(minutes) * 60 + int(rest)


def bits(text):
    number, unit = text.split()
    return float(number) * {"bps": 1, "kbps": 1e3, "Mbps": 1e6}[unit]


def labeled(properties):
    return {entry["label"]: entry["value"] for entry in properties.values()}


class Streams(ToolTest):
    def described(self, path):
        """Tags, pictures and sounds of a file."""
        [folder] = self.json("scan", "--by-name", "--location", path)
        [file] = folder["files"]
        return labeled(file["metaInfo"]), *(list(map(labeled, file[kind + "Streams"])) for kind in ("video", "audio"))

    def check(self, ours, theirs):
        if "duration" in theirs:
            self.assertAlmostEqual(seconds(ours["Run Time"]), float(theirs["duration"]), delta=0.6)
        if theirs["codec_type"] == "video":
            self.assertEqual(ours["Dimensions"], f"{theirs['width']} x {theirs['height']}")
            rate = float(fractions.Fraction(theirs["avg_frame_rate"]))
            self.assertEqual(ours["Frame Rate"], f"{round(rate, 3):g} fps")
        else:
            self.assertEqual(ours["Channels"], str(theirs["channels"]))
            self.assertEqual(ours["Sample"].split()[0], theirs["sample_rate"])
            rate = float(theirs["bit_rate"])
            self.assertAlmostEqual(bits(ours["Data Rate"]), rate, delta=rate / 100)

    def test_says_what_ffprobe_says(self):
        tags = [word for name, text in TAGS.items() for word in ("-metadata", f"{name}={text}")]
        for name, arguments, pictures, sounds in FILES:
            with self.subTest(name):
                path = self.folder / name
                ffmpeg(*arguments.split(), *tags, path)
                probe = json.loads(subprocess.check_output(
                    ["ffprobe", "-v", "error", "-show_format", "-show_streams", "-of", "json", path]))
                meta, video, audio = self.described(path)
                for kind, streams in ("video", video), ("audio", audio):
                    same = [stream for stream in probe["streams"] if stream["codec_type"] == kind]
                    for pair in zip(streams, same, strict=True):
                        self.check(*pair)
                self.assertEqual([f"{s['Format']} {s['Aspect Ratio']}" for s in video], pictures)
                self.assertEqual([s["Format"] for s in audio], sounds)
                theirs = {key.lower(): text for holder in [probe["format"], *probe["streams"]]
                          for key, text in holder.get("tags", {}).items() if key.lower() in TAGS}
                if path.suffix not in (".mpg", ".mpeg", ".avi", ".mov"):
                    self.assertGreaterEqual(len(theirs), 8)
                    self.assertEqual({key: meta.get(LABELS.get(key, key.capitalize())) for key in theirs}, theirs)
                if not pictures and len(sounds) == 1:
                    self.assertEqual([meta["Channels"], meta["Sample"], meta["Run Time"]],
                                     [audio[0]["Channels"], "44100 Hz", "0:02"])
                elif name == "two.mp4":
                    self.assertNotIn("Channels", meta)

    def test_reads_the_tags_of_aiff(self):
        path = self.folder / "a.aiff"
        ffmpeg(*STEREO.split(), "-write_id3v2", 1, "-metadata", "title=Größe", path)
        meta, _, _ = self.described(path)
        self.assertEqual([meta["Title"], meta["Sample"], meta["Run Time"]], ["Größe", "44100 Hz", "0:02"])

    def test_says_what_exiftool_says(self):
        for name in ("a.jpg", "a.tiff"):
            with self.subTest(name):
                path = self.folder / name
                ffmpeg("-f", "lavfi", "-i", "testsrc=s=64x48", "-frames:v", 1, path)
                values = [f"-EXIF:{tag}={text}" for tag, text, *_ in PROPERTIES]
                subprocess.run(["exiftool", "-q", "-overwrite_original", *values,
                                "-EXIF:GPSLatitudeRef=S", path], check=True)
                [theirs] = json.loads(subprocess.check_output(
                    ["exiftool", "-j", "-EXIF:all", "-c", "%d° %d' %.1f\"", path]))
                ours, _, _ = self.described(path)
                for tag, _, label, form in PROPERTIES:
                    self.assertEqual(ours[label], form.format(theirs[tag]))

    def test_takes_no_tick_for_a_frame_rate(self):
        path = self.folder / "still.wmv"
        ffmpeg(*FILM.split(), "-map", 0, "-frames:v", 1, path)
        _, [stream], _ = self.described(path)
        self.assertNotIn("Frame Rate", stream)
        self.assertEqual(stream["Dimensions"], "320 x 240")

    def test_tells_streams_apart_by_their_ids(self):
        path = self.folder / "two.mpg"
        small = FILM.replace("320x240", "160x120")
        ffmpeg("-loglevel", "quiet", *f"{FILM} {small} -map 0 -map 2 -map 1 -f vob -g 5".split(),
               "-aspect:v:0", "16:9", "-aspect:v:1", "4:3", path)
        # As if recorded from within a group of pictures of the wide stream.
        path.write_bytes(path.read_bytes().replace(b"\0\0\1\xb3\x14\x00\xf0", bytes(7), 1))
        _, streams, _ = self.described(path)
        self.assertEqual({s["Dimensions"]: s["Aspect Ratio"] for s in streams},
                         {"320 x 240": "16:9", "160 x 120": "3:4"})
