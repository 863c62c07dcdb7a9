#!/usr/bin/env python3
"""Whether decoders of all kinds read our images, with restarts between bands, as they read the library's own in one piece:
every pixel of each has to be the same. Decoders that aren't installed are told, and left out."""
import base64
import pathlib
import re
import shutil
import subprocess
import tempfile

from session import binaries


def run(command, **more):
    """What it has printed; None if it has failed or warned."""
    done = subprocess.run([str(part) for part in command], stdout=subprocess.PIPE, stderr=subprocess.PIPE, timeout=120,
                          **more)
    return None if done.returncode != 0 or done.stderr.strip() else done.stdout


def djpeg(path, directory):
    return run(["djpeg", "-strict", "-pnm", path])


def ffmpeg(path, directory):
    return run(["ffmpeg", "-v", "warning", "-xerror", "-err_detect", "explode", "-i", path, "-pix_fmt", "rgb24", "-f",
                "rawvideo", "-"])


def gstreamer(path, directory):
    raw = directory / "raw"
    if run(["gst-launch-1.0", "-q", "filesrc", f"location={path}", "!", "jpegdec", "!", "filesink",
            f"location={raw}"]) is None:
        return None
    return raw.read_bytes()


# Draws two images and compares their pixels, one pair after the other.
page = """<title>pairs</title><body><script>
const pixels = async (source) => {
  const image = new Image();
  image.src = source;
  await image.decode();
  const canvas = document.createElement("canvas");
  [canvas.width, canvas.height] = [image.naturalWidth, image.naturalHeight];
  const context = canvas.getContext("2d");
  context.drawImage(image, 0, 0);
  return context.getImageData(0, 0, canvas.width, canvas.height).data;
};
const compare = async (ours, whole) => {
  try {
    const [a, b] = [await pixels(ours), await pixels(whole)];
    return a.length === b.length && a.every((value, index) => value === b[index]) ? "same" : "different";
  } catch (error) {
    return "unreadable";
  }
};
compare("OURS", "WHOLE").then(verdict => { document.body.textContent = "verdict:" + verdict; });
</script>"""


def chromium(ours, whole, directory):
    source = lambda path: "data:image/jpeg;base64," + base64.b64encode(path.read_bytes()).decode()
    path = directory / "page.html"
    path.write_text(page.replace("OURS", source(ours)).replace("WHOLE", source(whole)))
    done = subprocess.run(["chromium", "--headless", "--no-sandbox", "--disable-gpu", f"--user-data-dir={directory}/profile",
                           "--virtual-time-budget=60000", "--dump-dom", f"file://{path}"], stdout=subprocess.PIPE,
                          stderr=subprocess.DEVNULL, timeout=120, text=True)
    found = re.search("verdict:([a-z]+)", done.stdout)
    return found and found[1]


def same(decode, ours, whole, directory):
    mine = decode(ours, directory)
    return mine is not None and len(mine) > 0 and mine == decode(whole, directory)


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
