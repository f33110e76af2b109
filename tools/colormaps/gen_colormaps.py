#!/usr/bin/python3
"""Generates canvas/colormap_data.cpp: the anchor tables of the spectrogram
colour maps (256 sRGB colours per scheme, level 0 first).

The colour data comes from Debian packages, so the tables can be rebuilt on
any Debian machine and compared line by line with the committed file:

    apt-get install python3-matplotlib python3-seaborn gmt-common
    /usr/bin/python3 tools/colormaps/gen_colormaps.py > canvas/colormap_data.cpp

  python3-matplotlib  viridis, magma, plasma, inferno, cividis, turbo,
                      copper, hot, bone
  python3-seaborn     mako, rocket
  gmt-common          /usr/share/gmt/cpt/SCM/*.cpt (Crameri's Scientific
                      colour maps) and /usr/share/gmt/cpt/cmocean/*.cpt
                      (Thyng et al.'s cmocean)

The two grey ramps are computed here and ce2k comes from ce2k.txt beside this
script. Only the generator needs these packages: the library builds from the
committed output.

Every anchor list must have exactly 256 entries; the generator refuses to
write a table that fails its checks (count, range, and non-falling relative
luminance for the maps meant to be read as brightness).
"""

import math
import os
import sys

HERE = os.path.dirname(os.path.abspath(__file__))
ANCHORS = 256
GMT_CPT = "/usr/share/gmt/cpt"


def fail(message):
    sys.stderr.write("gen_colormaps: %s\n" % message)
    sys.exit(1)


def to_byte(fraction):
    return max(0, min(255, int(math.floor(fraction * 255.0 + 0.5))))


def linear_light(byte):
    c = byte / 255.0
    return c / 12.92 if c <= 0.04045 else ((c + 0.055) / 1.055) ** 2.4


def relative_luminance(rgb):
    r, g, b = (linear_light(v) for v in rgb)
    return 0.2126 * r + 0.7152 * g + 0.0722 * b


def resample(colors, count):
    """Linear resampling of a colour list (floats or bytes) to `count`
    entries, first and last kept; used for the halves of a diverging map."""
    n = len(colors)
    out = []
    for i in range(count):
        pos = i * (n - 1) / (count - 1)
        k = min(int(pos), n - 2)
        f = pos - k
        out.append(tuple(to_byte(((1 - f) * a + f * b) / 255.0) for a, b in zip(colors[k], colors[k + 1])))
    return out


# ---- sources ----------------------------------------------------------------

def from_matplotlib(name):
    import numpy as np
    from matplotlib import colormaps

    cmap = colormaps[name]
    if cmap.N != ANCHORS:
        cmap = cmap.resampled(ANCHORS)
    rgba = cmap(np.linspace(0.0, 1.0, ANCHORS))
    return [tuple(to_byte(c) for c in row[:3]) for row in rgba]


def from_seaborn(name):
    import seaborn.cm

    cmap = getattr(seaborn.cm, name)
    colors = list(cmap.colors)
    if len(colors) != ANCHORS:
        fail("seaborn %s has %d colours" % (name, len(colors)))
    return [tuple(to_byte(c) for c in row[:3]) for row in colors]


def read_cpt(path):
    """Reads a GMT colour palette of slices 'z0 r/g/b z1 r/g/b'. Returns the
    anchor colours and whether the palette is made of constant slices (cmocean's) or of
    linear ramps (the Scientific colour maps)."""
    if not os.path.exists(path):
        fail("%s not found: install gmt-common" % path)
    slices = []
    with open(path) as f:
        for line in f:
            line = line.strip()
            if not line or line.startswith("#") or line[0] in "BFN":
                continue
            parts = line.split()
            if len(parts) < 4:
                fail("%s: unreadable line %r" % (path, line))
            c0 = tuple(int(v) for v in parts[1].split("/"))
            c1 = tuple(int(v) for v in parts[3].split("/"))
            slices.append((c0, c1))
    constant = all(c0 == c1 for c0, c1 in slices)
    if constant:
        return [c0 for c0, _ in slices], True
    # Ramps: every slice's start colour, plus the end colour wherever the next
    # slice does not start with it. The diverging maps are split at their
    # hinge, where the last colour of the lower half ends one slice and the
    # first colour of the upper half starts the next.
    colors = []
    for k, (c0, c1) in enumerate(slices):
        colors.append(c0)
        if k + 1 == len(slices) or slices[k + 1][0] != c1:
            colors.append(c1)
    return colors, False


def from_cmocean(name):
    colors, constant = read_cpt(os.path.join(GMT_CPT, "cmocean", name + ".cpt"))
    if not constant or len(colors) != ANCHORS:
        fail("cmocean %s: expected 256 constant slices, got %d" % (name, len(colors)))
    return colors


def from_crameri(name):
    colors, constant = read_cpt(os.path.join(GMT_CPT, "SCM", name + ".cpt"))
    if constant or len(colors) != ANCHORS:
        fail("SCM %s: expected 256 colours in linear slices, got %d" % (name, len(colors)))
    return colors


def delta_half(green):
    """One half of cmocean's diverging 'delta' (dark blue, pale centre, dark
    green) as a sequential map running from the pale centre outwards, so
    both halves read like 'deep' and 'matter': quiet pale, loud saturated."""
    delta = from_cmocean("delta")
    half = delta[128:] if green else list(reversed(delta[:128]))
    return resample(half, ANCHORS)


def linear_gray():
    return [(i, i, i) for i in range(ANCHORS)]


def perceptual_gray():
    """Grey whose CIE lightness L* grows linearly from 0 (black) to 100
    (white): each anchor's L* is converted to relative luminance Y, and Y is
    gamma-encoded as sRGB. Equal level steps look like equal brightness steps,
    which the plain byte ramp does not (it spends too many levels on light
    greys)."""
    out = []
    for i in range(ANCHORS):
        lstar = 100.0 * i / (ANCHORS - 1)
        fy = (lstar + 16.0) / 116.0
        y = fy ** 3 if fy ** 3 > 216.0 / 24389.0 else lstar * 27.0 / 24389.0
        v = 12.92 * y if y <= 0.0031308 else 1.055 * y ** (1.0 / 2.4) - 0.055
        out.append((to_byte(v),) * 3)
    return out


def ce2k():
    points = []
    with open(os.path.join(HERE, "ce2k.txt")) as f:
        for line in f:
            line = line.split("#", 1)[0].strip()
            if line:
                pos, r, g, b = line.split()
                points.append((float(pos), (int(r), int(g), int(b))))
    if points[0][0] != 0.0 or points[-1][0] != 1.0:
        fail("ce2k.txt must span 0 to 1")
    out = []
    for i in range(ANCHORS):
        t = i / (ANCHORS - 1)
        k = 0
        while k < len(points) - 2 and t > points[k + 1][0]:
            k += 1
        (t0, c0), (t1, c1) = points[k], points[k + 1]
        f = (t - t0) / (t1 - t0)
        out.append(tuple(to_byte(((1 - f) * a + f * b) / 255.0) for a, b in zip(c0, c1)))
    return out


# ---- the scheme table ---------------------------------------------------------

MPL = "matplotlib %s" % __import__("matplotlib").__version__
SNS = "seaborn %s" % __import__("seaborn").__version__
CMOCEAN = "cmocean '%s' from gmt-common " + GMT_CPT + "/cmocean/%s.cpt (256 constant slices)"
SCM = "Scientific colour maps '%s' from gmt-common " + GMT_CPT + "/SCM/%s.cpt (ends of its linear slices)"
CITATIONS = [
    "cmocean 2.0: Thyng, K. M., Greene, C. A., Hetland, R. D., Zimmerle, H. M. & DiMarco, S. F. (2016)",
    "  True colors of oceanography, Oceanography 29(3), doi:10.5670/oceanog.2016.66. MIT licence.",
    "Scientific colour maps 7.0.1: Crameri, F. (2021), Zenodo, doi:10.5281/zenodo.5501399",
    "  (all versions: doi:10.5281/zenodo.1243862). MIT licence.",
    "viridis, magma, plasma, inferno: van der Walt, S. & Smith, N. (2015), CC0.",
    "cividis: Nunez, J. R., Anderton, C. R. & Renslow, R. S. (2018), PLoS ONE 13(7).",
    "turbo: Mikhailov, A. (2019), Google, Apache 2.0. mako, rocket: Waskom, M., seaborn, BSD 3-clause.",
    "copper, hot, bone: matplotlib's segmented definitions, matplotlib licence.",
]


# (code, name, perceptual, source text, builder). `perceptual` marks the maps
# whose relative luminance must never fall with the level.
SCHEMES = [
    (0, "lineargrayscale", True, "computed: byte ramp, level 0 black, 65535 white", linear_gray),
    (1, "grayscale", True, "computed: grey with CIE L* linear in the level (sRGB-encoded)", perceptual_gray),
    (2, "ce2k", True, "the engine's own map, control points in tools/colormaps/ce2k.txt", ce2k),
    (3, "viridis", True, MPL + " 'viridis'", lambda: from_matplotlib("viridis")),
    (4, "magma", True, MPL + " 'magma'", lambda: from_matplotlib("magma")),
    (5, "plasma", True, MPL + " 'plasma'", lambda: from_matplotlib("plasma")),
    (6, "inferno", True, MPL + " 'inferno'", lambda: from_matplotlib("inferno")),
    (7, "cividis", True, MPL + " 'cividis'",
     lambda: from_matplotlib("cividis")),
    (8, "mako", True, SNS + " 'mako'", lambda: from_seaborn("mako")),
    (9, "rocket", True, SNS + " 'rocket'", lambda: from_seaborn("rocket")),
    (10, "turbo", False, MPL + " 'turbo'", lambda: from_matplotlib("turbo")),
    (11, "copper", False, MPL + " 'copper', sampled at 256 even steps", lambda: from_matplotlib("copper")),
    (12, "hot", False, MPL + " 'hot', sampled at 256 even steps", lambda: from_matplotlib("hot")),
    (13, "bone", False, MPL + " 'bone', sampled at 256 even steps", lambda: from_matplotlib("bone")),
    (14, "ice", True, CMOCEAN % ("ice", "ice"), lambda: from_cmocean("ice")),
    (15, "oxy", False, CMOCEAN % ("oxy", "oxy"), lambda: from_cmocean("oxy")),
    (16, "solar", True, CMOCEAN % ("solar", "solar"), lambda: from_cmocean("solar")),
    (17, "matter", False, CMOCEAN % ("matter", "matter") + "; published direction, light to dark", lambda: from_cmocean("matter")),
    (18, "berlin", False, SCM % ("berlin", "berlin"), lambda: from_crameri("berlin")),
    (19, "bilbao", False, SCM % ("bilbao", "bilbao") + "; published direction, light to dark", lambda: from_crameri("bilbao")),
    (20, "lajolla", False, SCM % ("lajolla", "lajolla") + "; published direction, light to dark", lambda: from_crameri("lajolla")),
    (21, "roma", False, SCM % ("roma", "roma"), lambda: from_crameri("roma")),
    (22, "tokyo", True, SCM % ("tokyo", "tokyo"), lambda: from_crameri("tokyo")),
    (23, "vik", False, SCM % ("vik", "vik"), lambda: from_crameri("vik")),
    (24, "oceandeltagreen", False, (CMOCEAN % ("delta", "delta")) + "; its upper (green) half from the pale centre to dark "
     "green, resampled linearly from 128 to 256 colours", lambda: delta_half(True)),
    (25, "oceandeltablue", False, (CMOCEAN % ("delta", "delta")) + "; its lower (blue) half from the pale centre to dark "
     "blue, resampled linearly from 128 to 256 colours", lambda: delta_half(False)),
    (26, "oceanthermal", True, CMOCEAN % ("thermal", "thermal"), lambda: from_cmocean("thermal")),
    (27, "oceandeep", False, CMOCEAN % ("deep", "deep") + "; published direction, light to dark", lambda: from_cmocean("deep")),
]


def check(code, name, perceptual, colors):
    if len(colors) != ANCHORS:
        fail("%s: %d anchors" % (name, len(colors)))
    for c in colors:
        if len(c) != 3 or any(not (0 <= v <= 255) for v in c):
            fail("%s: bad colour %r" % (name, c))
    if perceptual:
        # One byte of rounding may dip the luminance by a hair between two
        # neighbouring anchors; anything larger is a wrong table.
        lum = [relative_luminance(c) for c in colors]
        for i in range(1, ANCHORS):
            if lum[i] < lum[i - 1] - 0.002:
                fail("%s: luminance falls at anchor %d (%.4f -> %.4f)" % (name, i, lum[i - 1], lum[i]))


def wrap(text, width=76, prefix="// "):
    words, lines, line = text.split(), [], ""
    for w in words:
        if line and len(line) + 1 + len(w) > width:
            lines.append(prefix + line)
            line = w
        else:
            line = (line + " " + w) if line else w
    if line:
        lines.append(prefix + line)
    return "\n".join(lines)


def main():
    if [s[0] for s in SCHEMES] != list(range(len(SCHEMES))):
        fail("scheme codes must run 0..%d in order" % (len(SCHEMES) - 1))
    out = []
    out.append("// GENERATED FILE, do not edit: written by tools/colormaps/gen_colormaps.py")
    out.append("// from the colour data of Debian's python3-matplotlib, python3-seaborn and")
    out.append("// gmt-common packages (see that script). Rerun it to change a table.")
    out.append("//")
    out.append("// Anchor colours of the spectrogram colour maps: %d sRGB colours per" % ANCHORS)
    out.append("// scheme, level 0 first, indexed by the colour-scheme code.")
    out.append("//")
    out.append("// Sources of the published maps:")
    for line in CITATIONS:
        out.append("//   " + line)
    out.append('#include "canvas/colormap_p.h"')
    out.append('#include "tavocolormap.h"')
    out.append("")
    out.append("static_assert(TAVOCOLORMAP_SCHEME_COUNT == %d, \"one anchor table per scheme code\");" % len(SCHEMES))
    out.append("")
    out.append("namespace {")
    out.append("")
    out.append("constexpr uint8_t kAnchors[%d][%d][3] = {" % (len(SCHEMES), ANCHORS))
    for code, name, perceptual, source, build in SCHEMES:
        colors = build()
        check(code, name, perceptual, colors)
        out.append(wrap("%d %s: %s." % (code, name, source), prefix="    // "))
        out.append("    {")
        for row in range(0, ANCHORS, 6):
            out.append("        " + " ".join("{%d, %d, %d}," % c for c in colors[row:row + 6]))
        out.append("    },")
    out.append("};")
    out.append("")
    out.append("}  // namespace")
    out.append("")
    out.append("const uint8_t *_TAVOCOLORMAP_Anchors(int32_t scheme)")
    out.append("{")
    out.append("    if (scheme < 0 || scheme >= %d) return nullptr;" % len(SCHEMES))
    out.append("    return &kAnchors[scheme][0][0];")
    out.append("}")
    sys.stdout.write("\n".join(out) + "\n")


if __name__ == "__main__":
    main()
