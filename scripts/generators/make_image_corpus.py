#!/usr/bin/env python3
"""Builds a corpus of picture files with ImageMagick and libtiff-tools, and a
reference decode of each by ImageMagick, for tests/test_image_reference.cpp.

    make_image_corpus.py OUTPUT_FOLDER

Writes the pictures, for each one NAME.rgba (ImageMagick's 8-bit straight RGBA,
rows top-down, turned by the file's orientation) and manifest.txt, one line a
file: "NAME EXPECT TOLERANCE WIDTH HEIGHT". EXPECT is "ok" (decodes, matches the
reference within TOLERANCE levels a channel, compared premultiplied), "warn"
(decodes with a warning), or "unsupported" (refused as unsupported, not as damaged).
"""
import os
import shutil
import struct
import subprocess
import sys

OUT = sys.argv[1] if len(sys.argv) > 1 else "corpus"
CONVERT = shutil.which("convert")
MANIFEST = []


def run(*args):
    subprocess.run(args, check=True, stdout=subprocess.DEVNULL, stderr=subprocess.PIPE)


def path(name):
    return os.path.join(OUT, name)


def reference(name, expect, tolerance):
    """ImageMagick's decode of the first page, turned upright, as 8-bit RGBA."""
    out = subprocess.run([CONVERT, path(name) + "[0]", "-auto-orient", "-depth", "8", "-print", "%w %h",
                          "rgba:" + path(name + ".rgba")], check=True, capture_output=True, text=True).stdout
    width, height = out.split()
    MANIFEST.append(f"{name} {expect} {tolerance} {width} {height}")


def source(name, size="40x30", alpha=False):
    """A colourful source picture: hues across, lightness down, optional soft alpha."""
    args = [CONVERT, "-size", size, "gradient:#ff2000-#0030ff", "(", "-size", size, "gradient:#00ff80-#ffff00",
            "-rotate", "90", "-resize", size + "!", ")", "-compose", "blend", "-define",
            "compose:args=50", "-composite"]
    if alpha:
        args += ["(", "-size", size, "radial-gradient:white-black", ")", "-alpha", "off", "-compose",
                 "copy_opacity", "-composite"]
    run(*args, "-depth", "8", path(name))


def picture(name, *options, src="src_rgb.png", expect="ok", tolerance=1):
    run(CONVERT, path(src), *options, path(name))
    reference(name, expect, tolerance)


def main():
    if not CONVERT or not shutil.which("tiffcp"):
        sys.exit("make_image_corpus: needs ImageMagick (convert) and libtiff-tools (tiffcp); run scripts/deps.sh")
    os.makedirs(OUT, exist_ok=True)
    source("src_rgb.png")
    source("src_rgba.png", alpha=True)
    source("src_odd.png", "3x5")
    source("src_dot.png", "1x1")
    source("src_big.png", "513x257", alpha=True)
    source("src_94.png", "128x94", alpha=True)

    # PNG: the common kinds, and 16-bit data without colour chunks (sRGB all the same).
    run(CONVERT, path("src_rgb.png"), "-strip", "PNG24:" + path("rgb.png")); reference("rgb.png", "ok", 0)
    run(CONVERT, path("src_rgba.png"), "-strip", "PNG32:" + path("rgba.png")); reference("rgba.png", "ok", 1)
    run(CONVERT, path("src_rgba.png"), "-strip", "-colors", "60", "PNG8:" + path("palette_trns.png"))
    reference("palette_trns.png", "ok", 1)
    run(CONVERT, path("src_rgb.png"), "-strip", "-colorspace", "gray", "PNG8:" + path("grey.png"))
    reference("grey.png", "ok", 1)
    run(CONVERT, path("src_rgba.png"), "-strip", "-colorspace", "gray", "-define", "png:color-type=4",
        path("grey_alpha.png"))
    reference("grey_alpha.png", "ok", 1)
    for name, src in (("rgb16.png", "src_rgb.png"), ("rgba16.png", "src_rgba.png")):
        run(CONVERT, path(src), "-depth", "16", "-strip", "-define", "png:exclude-chunks=gAMA,cHRM,sRGB,iCCP",
            "PNG64:" + path(name) if src.endswith("rgba.png") else "PNG48:" + path(name))
        reference(name, "ok", 1)
    run(CONVERT, path("src_rgba.png"), "-strip", "-interlace", "PNG", "PNG32:" + path("interlaced.png"))
    reference("interlaced.png", "ok", 1)
    run(CONVERT, path("src_odd.png"), "-strip", "PNG24:" + path("odd_3x5.png")); reference("odd_3x5.png", "ok", 0)
    run(CONVERT, path("src_dot.png"), "-strip", "PNG24:" + path("dot_1x1.png")); reference("dot_1x1.png", "ok", 0)

    # JPEG: baseline, progressive, CMYK, odd size, turned by EXIF, damaged.
    picture("baseline.jpg", "-quality", "92", tolerance=3)
    picture("progressive.jpg", "-quality", "92", "-interlace", "JPEG", tolerance=3)
    picture("cmyk.jpg", "-colorspace", "CMYK", "-quality", "95", tolerance=4)
    picture("odd_3x5.jpg", "-quality", "95", src="src_odd.png", tolerance=3)
    for orientation in (3, 6, 8):
        name = f"exif_{orientation}.jpg"
        run(CONVERT, path("src_rgb.png"), "-quality", "92", path(name))
        insert_exif_orientation(path(name), orientation)
        reference(name, "ok", 3)
    run(CONVERT, path("src_big.png"), "-background", "white", "-flatten", "-quality", "90", path("damaged.jpg"))
    damage_jpeg(path("damaged.jpg"))
    MANIFEST.append("damaged.jpg warn 255 513 257")

    # TIFF: strips, soft alpha, turned, tiled, multi-page, 16-bit, grey, palette; float refused.
    picture("rgb.tif", "-compress", "lzw", tolerance=0)
    picture("rgba.tif", "-compress", "zip", src="src_rgba.png", tolerance=1)
    for orientation in (3, 6):
        name = f"orient_{orientation}.tif"
        run(CONVERT, path("src_rgb.png"), "-compress", "none", path(name))
        run("tiffset", "-s", "274", str(orientation), path(name))
        reference(name, "ok", 0)
    run(CONVERT, path("src_rgba.png"), "-compress", "none", path("strips.tif"))
    run("tiffcp", "-t", "-w", "16", "-l", "16", path("strips.tif"), path("tiled.tif"))
    reference("tiled.tif", "ok", 1)
    run(CONVERT, path("src_rgb.png"), path("src_odd.png"), path("multipage.tif")); reference("multipage.tif", "ok", 0)
    picture("rgb16.tif", "-depth", "16", tolerance=1)
    picture("grey.tif", "-colorspace", "gray", tolerance=1)
    picture("palette.tif", "-colors", "40", "-type", "palette", tolerance=1)
    run(CONVERT, path("src_rgb.png"), "-depth", "32", "-define", "quantum:format=floating-point",
        path("float32.tif"))
    MANIFEST.append("float32.tif unsupported 0 40 30")

    # BMP: bottom-up 24-bit, top-down, palette RLE8 (rich and poor palettes).
    run(CONVERT, path("src_rgb.png"), "-type", "truecolor", "BMP3:" + path("rgb24.bmp")); reference("rgb24.bmp", "ok", 0)
    make_top_down_bmp(path("rgb24.bmp"), path("topdown.bmp")); reference("topdown.bmp", "ok", 0)
    run(CONVERT, path("src_rgb.png"), "-colors", "200", "-type", "palette", "-compress", "RLE",
        "BMP3:" + path("rle8.bmp"))
    reference("rle8.bmp", "ok", 0)
    run(CONVERT, path("src_rgb.png"), "-colors", "14", "-type", "palette", "-compress", "RLE",
        "BMP3:" + path("rle8_14colours.bmp"))
    reference("rle8_14colours.bmp", "ok", 0)
    run(CONVERT, path("src_odd.png"), "-type", "truecolor", "BMP3:" + path("odd_3x5.bmp")); reference("odd_3x5.bmp", "ok", 0)

    # TGA of both origins.
    picture("bottomleft.tga", src="src_rgba.png", tolerance=1)
    make_top_left_tga(path("bottomleft.tga"), path("topleft.tga")); reference("topleft.tga", "ok", 1)

    # DDS: DXT1/3/5 with mip levels, uncompressed RGBA, heights that are not a multiple of 4.
    for kind in ("dxt1", "dxt3", "dxt5"):
        picture(f"{kind}.dds", "-define", f"dds:compression={kind}", "-define", "dds:mipmaps=3",
                src="src_rgba.png" if kind != "dxt1" else "src_rgb.png", tolerance=3)
    picture("rgba.dds", "-define", "dds:compression=none", src="src_rgba.png", tolerance=1)
    picture("dxt5_513x257.dds", "-define", "dds:compression=dxt5", "-define", "dds:mipmaps=0", src="src_big.png",
            tolerance=3)
    picture("dxt1_128x94.dds", "-define", "dds:compression=dxt1", "-define", "dds:mipmaps=0", src="src_94.png",
            tolerance=3)

    with open(path("manifest.txt"), "w") as f:
        f.write("\n".join(MANIFEST) + "\n")


def insert_exif_orientation(file, orientation):
    """An APP1 EXIF block holding only the orientation, right after SOI."""
    tiff = b"MM\x00\x2a" + struct.pack(">I", 8) + struct.pack(">H", 1)
    tiff += struct.pack(">HHIHH", 0x0112, 3, 1, orientation, 0) + struct.pack(">I", 0)
    body = b"Exif\x00\x00" + tiff
    data = open(file, "rb").read()
    open(file, "wb").write(data[:2] + b"\xff\xe1" + struct.pack(">H", len(body) + 2) + body + data[2:])


def damage_jpeg(file):
    """Overwrites a stretch of entropy-coded data in the middle of the scan."""
    data = bytearray(open(file, "rb").read())
    start = data.find(b"\xff\xda") + 400
    for i in range(start, start + 64):
        data[i] = 0x55 if data[i] != 0xff else 0xff
    data[start + 70] = 0xff  # a stray marker byte
    data[start + 71] = 0xd3
    open(file, "wb").write(bytes(data))


def make_top_down_bmp(src, dst):
    data = bytearray(open(src, "rb").read())
    offset, = struct.unpack_from("<I", data, 10)
    width, height = struct.unpack_from("<ii", data, 18)
    bits, = struct.unpack_from("<H", data, 28)
    stride = (width * bits + 31) // 32 * 4
    rows = [data[offset + y * stride: offset + (y + 1) * stride] for y in range(height)]
    struct.pack_into("<i", data, 22, -height)
    data[offset: offset + stride * height] = b"".join(reversed(rows))
    open(dst, "wb").write(bytes(data))


def make_top_left_tga(src, dst):
    data = bytearray(open(src, "rb").read())
    if data[2] != 2:
        sys.exit("make_image_corpus: expected an uncompressed true-colour TGA")
    width, height = struct.unpack_from("<HH", data, 12)
    step = data[16] // 8
    start = 18 + data[0]
    stride = width * step
    rows = [data[start + y * stride: start + (y + 1) * stride] for y in range(height)]
    data[start: start + stride * height] = b"".join(reversed(rows))
    data[17] |= 0x20  # origin at the top
    open(dst, "wb").write(bytes(data))


if __name__ == "__main__":
    main()
