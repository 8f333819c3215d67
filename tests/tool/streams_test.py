"""What is said of the streams of real files, against ffprobe."""

import fractions
import json
import subprocess

from support import ToolTest

SOUND = "-f lavfi -i sine=d=2:r=44100"
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
    ("codes.avi", f"{FILM} -c:v mpeg4 -c:a aac", ["MPEG-4 part 2 4:3"],
     ["AAC (Advanced Audio Coding)"]),
    ("film.wmv", f"{FILM} -c:v wmv2 -c:a wmav2", ["Microsoft Windows Media Video 8 4:3"],
     ["Microsoft Windows Media Audio"]),
    ("film.mov", f"{FILM} -c:v mpeg4 -c:a aac", ["MPEG-4 part 2 4:3"],
     ["AAC (Advanced Audio Coding)"]),
    ("sound.wav", SOUND, [], ["Microsoft Wave PCM"]),
    ("sound.mp3", f"{SOUND} -b:a 128k", [], ["MPEG-1 Layer 3"]),
    ("mono.mp4", f"{SOUND} -c:a aac", [], ["AAC (Advanced Audio Coding)"]),
    ("sound.ogg", f"{SOUND} -c:a libvorbis", [], ["Vorbis"]),
    ("sound.wma", f"{SOUND} -c:a wmav2 -b:a 64k", [], ["Microsoft Windows Media Audio"]),
]


def seconds(text):
    minutes, rest = text.split(":")
    return int(minutes) * 60 + int(rest)


def bits(text):
    number, unit = text.split()
    return float(number) * {"bps": 1, "kbps": 1e3, "Mbps": 1e6}[unit]


class Streams(ToolTest):
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
        for name, arguments, pictures, sounds in FILES:
            with self.subTest(name):
                path = self.folder / name
                subprocess.run(["ffmpeg", "-v", "error", *arguments.split(), path], check=True)
                [folder] = self.json("scan", path)
                [file] = folder["files"]
                probe = subprocess.check_output(
                    ["ffprobe", "-v", "error", "-show_streams", "-of", "json", path])
                theirs = json.loads(probe)["streams"]
                ours = {kind: [{entry["label"]: entry["value"] for entry in stream.values()}
                               for stream in file[kind + "Streams"]] for kind in ("video", "audio")}
                for kind, streams in ours.items():
                    same = [stream for stream in theirs if stream["codec_type"] == kind]
                    self.assertEqual(len(streams), len(same))
                    for pair in zip(streams, same):
                        self.check(*pair)
                self.assertEqual([f"{s['Format']} {s['Aspect Ratio']}" for s in ours["video"]],
                                 pictures)
                self.assertEqual([s["Format"] for s in ours["audio"]], sounds)
                if channels := file["metaInfo"].get("40103"):
                    self.assertEqual(channels["value"], ours["audio"][0]["Channels"])

    def video(self, name, arguments, blank=b""):
        path = self.folder / name
        subprocess.run(["ffmpeg", "-v", "quiet", *arguments.split(), path], check=True)
        path.write_bytes(path.read_bytes().replace(blank, bytes(len(blank)), 1 if blank else 0))
        [folder] = self.json("scan", path)
        return [{entry["label"]: entry["value"] for entry in stream.values()}
                for stream in folder["files"][0]["videoStreams"]]

    def test_takes_no_tick_for_a_frame_rate(self):
        [stream] = self.video("still.wmv", f"{FILM} -map 0 -frames:v 1")
        self.assertNotIn("Frame Rate", stream)
        self.assertEqual(stream["Dimensions"], "320 x 240")

    def test_tells_streams_apart_by_their_ids(self):
        small = FILM.replace("320x240", "160x120")
        streams = self.video(  # as if recorded from within a group of pictures of the wide stream
            "two.mpg", f"{FILM} {small} -map 0 -map 2 -map 1 -f vob -g 5 "
            "-aspect:v:0 16:9 -aspect:v:1 4:3",
            b"\0\0\1\xb3\x14\x00\xf0")
        self.assertEqual({s["Dimensions"]: s["Aspect Ratio"] for s in streams},
                         {"320 x 240": "16:9", "160 x 120": "3:4"})
