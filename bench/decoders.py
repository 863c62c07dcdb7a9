#!/usr/bin/env python3
"""Whether decoders of all kinds read our images, with restarts between bands, as they read the library's own in one
piece: every pixel of each has to be the same. Decoders that aren't installed are told, and left out."""
import base64
import pathlib
import re
import shutil
import subprocess
import tempfile

from session import binaries


def run(command):
    """What it has printed, and whether it had something to complain about; None if it has failed."""
    done = subprocess.run([str(part) for part in command], stdout=subprocess.PIPE, stderr=subprocess.PIPE, timeout=120)
    return None if done.returncode != 0 else (done.stdout, bool(done.stderr.strip()))


def djpeg(path, directory):
    return run(["djpeg", "-strict", "-pnm", path])


def ffmpeg(path, directory):
    # It complains about the library's smallest images as it does about ours.
    return run(["ffmpeg", "-v", "warning", "-xerror", "-err_detect", "explode", "-i", path, "-f", "rawvideo", "-"])


def gstreamer(path, directory):
    raw = directory / "raw"
    raw.unlink(missing_ok=True)
    done = run(["gst-launch-1.0", "-q", "filesrc", f"location={path}", "!", "jpegdec", "!", "filesink",
                f"location={raw}"])
    return done and (raw.read_bytes(), done[1])


# Compares the pixels of two images once they are loaded, before the page counts as loaded.
page = """<body><img src="OURS"><img src="WHOLE"><script>
const pixels = (image) => {
  const canvas = document.createElement("canvas");
  [canvas.width, canvas.height] = [image.naturalWidth, image.naturalHeight];
  const context = canvas.getContext("2d");
  context.drawImage(image, 0, 0);
  return new Uint32Array(context.getImageData(0, 0, canvas.width, canvas.height).data.buffer);
};
window.onload = () => {
  const [a, b] = [...document.images].map(pixels);
  const isSame = a.length > 0 && a.length === b.length && a.every((value, index) => value === b[index]);
  document.body.textContent = "verdict:" + (isSame ? "same" : "different");
};
</script>"""


def chromium(ours, whole, directory):
    source = lambda path: "data:image/jpeg;base64," + base64.b64encode(path.read_bytes()).decode()
    path = directory / "page.html"
    path.write_text(page.replace("OURS", source(ours)).replace("WHOLE", source(whole)))
    done = subprocess.run(["chromium", "--headless", "--no-sandbox", "--disable-gpu",
                           f"--user-data-dir={directory}/profile", "--dump-dom", f"file://{path}"],
                          stdout=subprocess.PIPE, stderr=subprocess.DEVNULL, timeout=120, text=True)
    found = re.search("verdict:([a-z]+)", done.stdout)
    return found and found[1]


def same(decode, ours, whole, directory):
    mine = decode(ours, directory)
    return mine and mine[0] and mine == decode(whole, directory)


def main():
    decoders = {"djpeg": djpeg, "ffmpeg": ffmpeg, "gst-launch-1.0": gstreamer, "chromium": None}
    with tempfile.TemporaryDirectory() as name:
        directory = pathlib.Path(name)
        subprocess.run([binaries / "jpeg_samples", directory], check=True)
        pairs = [(path, path.with_name(path.name.replace(".ours.", ".whole."))) for path in directory.glob("*.ours.jpg")]
        for program, decode in decoders.items():
            if not shutil.which(program):
                print(f"decoders: {program} is not installed, and was left out")
                continue
            failed = []
            for ours, whole in sorted(pairs):
                if decode:
                    is_same = same(decode, ours, whole, directory)
                else:
                    is_same = chromium(ours, whole, directory) == "same"
                if not is_same:
                    failed.append(ours.name.removesuffix(".ours.jpg"))
            print(f"{program:16} {len(pairs) - len(failed):3} of {len(pairs)} images the same pixel for pixel   "
                  f"{'MISSED ' + ' '.join(failed) if failed else 'met'}", flush=True)


main()
