"""mvip: the mvip image-processing library on numpy arrays.

Images are numpy arrays, wrapped without copying as the library's memory
images over the arrays' own memory:

* dtypes uint8, uint16, uint32, float32 and float64;
* an image is 2-D ``(height, width)`` or 3-D ``(height, width, pixies)``
  (1 pixie grey, 3 RGB, 4 RGBX by default); a stack adds a leading axis,
  ``(depth, height, width[, pixies])``;
* the pixies of a pixel and the pixels of a line must lie together
  (pixie stride = itemsize, pixel stride = pixies * itemsize, native byte
  order); the line stride becomes the library's pitch and may be anything,
  negative too (``a[::-1]`` and ``a[10:50, 20:60]`` are wrapped as they are).
  A *source* in another layout (``a[:, ::2]``, a transposed array, a
  big-endian array) is copied once into a packed array; an ``out=``
  array must fit as it is, else ValueError (a copy would lose the result).

Every operation of the library's operation table is a function of this
module (``mvip.pixneg(a)``, ``mvip.median3x3(a)``, ``mvip.pairadd(a, b,
mode=2)``, ...; names that begin with a neighbourhood size, as
``3x3median``, move it to the end).  :func:`op` runs one by its table name,
and :func:`ops` lists them.  Each takes its images, then its parameters
(positional or by name), and the keywords

* ``out=``: an array to write the result into (returned), else a new one;
* ``abort=``: a callable ``f(done, total)`` the library calls every few
  lines; a true answer cancels (mvip.Error with code -4), an exception
  raised there stops the call and propagates;
* ``bits=``: the significant bits of integer images (e.g. 12 for 12-bit
  data in uint16), default the whole container;
* ``region=``: a region text file; the point operations that have a region
  form then work only inside it (the output keeps the source elsewhere).

Blob lists: :func:`blobs`; drawing into an array: :func:`draw`.

Every call releases the interpreter lock while the library works, so
threads run in parallel; Ctrl-C stops a long call on the main thread
(KeyboardInterrupt).  Failures raise :class:`Error` with the library's
result code and message.  Files: :func:`read`, :func:`read_stack`,
:func:`write`, :func:`info`.  Several machines: :mod:`mvip.dask`.
"""

import inspect as _inspect
import keyword as _keyword
import os as _os

import numpy as _np


class Error(Exception):
    """A failure the library reported: ``code`` is its (negative) result
    code, ``message`` its text (mverrnomesg), ``subject`` the operation or
    file it concerns."""

    def __init__(self, code, message, subject=""):
        super().__init__(code, message, subject)  # the arguments, so that it pickles (Dask workers)
        self.code = code
        self.message = message
        self.subject = subject

    def __str__(self):
        return f"{self.subject}: {self.message} ({self.code})" if self.subject else f"{self.message} ({self.code})"


from . import _mvip  # noqa: E402  (needs Error defined)

CANCELED = _mvip.MVERR_CANCELED
_run = _mvip.run

# ------------------------------------------------------------------ files

_KINDS = {".tif": "tif", ".tiff": "tif", ".bmp": "bmp", ".jpg": "jpg", ".jpeg": "jpg", ".avi": "avi"}
_COMPRESSIONS = {"none": 1, "packbits": 32773, "lzw": 5, "lzw-pred": 517, "arith": 32885}


def info(path, index=0):
    """The file-information record of image ``index`` of a file as a dict:
    format ('tif', 'bmp', 'jpg', 'avi'), width, height, images, dtype, bits,
    pixies, colorspace (code and name), texts, and the format's own fields
    (TIFF compression and resolution, BMP bit count, JPEG quality, AVI fps)."""
    return _mvip.info(_os.fspath(path), index)


def read(path, index=0, *, abort=None):
    """Image ``index`` of a TIFF, BMP, JPEG or AVI file (AVI: frame
    ``index``) as a new array in the type the file holds.  Colour comes as
    RGB (BGR, YCrCb and palette files are converted); integer samples of
    fewer bits than their container keep their values (see info()['bits'])."""
    return _mvip.read(_os.fspath(path), index, abort)


def read_stack(path, *, abort=None):
    """Every image of a file as a stack ``(depth, height, width[, pixies])``:
    the pages of a TIFF file (all of one size and format, else ValueError),
    the frames of an AVI movie, the one image of a BMP or JPEG file."""
    return _mvip.read_stack(_os.fspath(path), abort)


def write(path, array, *, stack=None, compression="none", bits=0, quality=75, fps=25, opendml=None,
          description="", abort=None):
    """Writes an image (or a stack) in the format of the file name's
    extension: .tif/.tiff, .bmp, .jpg/.jpeg, .avi.

    stack: treat the first axis as planes (default: True for 4-D arrays and
    for 3-D arrays whose last axis is longer than 4, which cannot be
    pixies).  A stack goes to TIFF as one page per plane, to AVI as one
    frame per plane.  compression (TIFF): 'none', 'packbits', 'lzw',
    'lzw-pred', 'arith' (floats: none only).  bits: bits per sample written
    (TIFF: rescaled to that many; JPEG: 8 or 12), 0 for the image's own.
    quality (JPEG): percent.  fps, opendml (AVI): frame rate; OpenDML
    indexes (None: only past 1 GiB).  description: TIFF ImageDescription.
    """
    path = _os.fspath(path)
    kind = _KINDS.get(_os.path.splitext(path)[1].lower())
    if kind is None:
        raise ValueError(f"{path}: the format comes from the extension: .tif, .tiff, .bmp, .jpg, .jpeg or .avi")
    if compression not in _COMPRESSIONS:
        raise ValueError(f"compression: one of {', '.join(_COMPRESSIONS)}")
    if stack is None:
        stack = getattr(array, "ndim", 0) == 4 or (getattr(array, "ndim", 0) == 3 and array.shape[-1] > 4)
    if fps <= 0 or fps > 1e6:
        raise ValueError("fps: must lie in (0, 10^6]")
    rate, scale = (int(fps), 1) if float(fps).is_integer() else (round(fps * 1000), 1000)
    if opendml is None:
        opendml = getattr(array, "nbytes", 0) > (1 << 30)
    _mvip.write(kind, path, array, bool(stack), int(bits), _COMPRESSIONS[compression], int(round(quality * 10)),
                rate, scale, bool(opendml), description, abort)


# ------------------------------------------------------------- operations

_KIND_NAMES = {"u": "unsigned int", "i": "int", "d": "float", "l": "sequence of ints",
               "L": "sequence of floats", "c": "colour space name (grey, rgb, hsb, ...) or code",
               "m": "colour map name (rainbow, heat, grey)"}
_TABLE = {}


def _python_name(name):
    """The function name of a table entry: a leading '3x3', '2x2' or 'NxN'
    moves to the end ('3x3median' -> 'median3x3')."""
    for prefix in ("3x3", "2x2", "NxN"):
        if name.startswith(prefix):
            return name[len(prefix):] + prefix
    return name


def _param_name(name):
    """A parameter's keyword: Python keywords take a trailing underscore
    ('from' -> 'from_')."""
    return name + "_" if _keyword.iskeyword(name) else name


def ops():
    """The operation table: a list of (name, images, parameters, help)."""
    return [(e[0], e[1], [p for p, _ in e[2]], e[4]) for e in _TABLE.values()]


def op(name, *args, out=None, abort=None, bits=0, region=None, **params):
    """Runs operation ``name`` of the table: ``op(name, image[, image2[,
    image3]], *params, out=None, abort=None, bits=0, region=None,
    **params)``.  Answers the output array, or ``(array, numbers)`` for
    operations that answer numbers besides (pixcontrastperc: the levels
    stretched)."""
    entry = _TABLE.get(name)
    if entry is None:
        raise ValueError(f"unknown operation '{name}' (see mvip.ops())")
    _, sources, pspec = entry[0], entry[1], entry[2]
    images, values = args[:sources], list(args[sources:])
    if len(images) < sources:
        raise TypeError(f"{name} takes {sources} image(s), got {len(images)}")
    if len(values) > len(pspec):
        raise TypeError(f"{name} takes {len(pspec)} parameter(s), got {len(values)}")
    for pname, _ in pspec[len(values):]:
        pname = _param_name(pname)
        if pname not in params:
            raise TypeError(f"{name}: missing parameter '{pname}'")
        values.append(params.pop(pname))
    if params:
        raise TypeError(f"{name}: unknown parameter(s) {', '.join(params)}")
    if region is not None:
        region = _os.fspath(region)
    return _mvip.run(name, tuple(images), tuple(values), out, abort, bits, region)


def _make_function(entry):
    name, sources, pspec, output, help_text, results, has_region = entry

    count = sources + len(pspec)

    def function(*args, out=None, abort=None, bits=0, region=None, **params):
        if len(args) == count and not params and region is None:  # all positional: straight to the library
            return _run(name, args[:sources], args[sources:], out, abort, bits, None)
        return op(name, *args, out=out, abort=abort, bits=bits, region=region, **params)

    P = _inspect.Parameter
    parameters = [P(f"image{k + 1}" if sources > 1 else "image", P.POSITIONAL_ONLY) for k in range(sources)]
    parameters += [P(_param_name(p), P.POSITIONAL_OR_KEYWORD) for p, _ in pspec]
    parameters += [P(k, P.KEYWORD_ONLY, default=d) for k, d in
                   (("out", None), ("abort", None), ("bits", 0), ("region", None))]
    function.__signature__ = _inspect.Signature(parameters)
    function.__name__ = function.__qualname__ = _python_name(name)
    lines = [f"{help_text}.", "", f"The library's operation '{name}' ({sources} image(s))."]
    for p, kind in pspec:
        lines.append(f"  {_param_name(p)}: {_KIND_NAMES.get(kind, kind)}")
    if results:
        lines.append(f"Answers (array, numbers): the numbers are the levels {results}.")
    if has_region:
        lines.append("Has a region form (region=FILE).")
    lines.append("Keywords out, abort, bits, region: see the mvip package.")
    function.__doc__ = "\n".join(lines)
    return function


def _build_table():
    for entry in _mvip.ops():
        _TABLE[entry[0]] = entry
        globals()[_python_name(entry[0])] = _make_function(entry)


_build_table()


# ------------------------------------------------------ blobs and drawing

BLOB_DTYPE = _np.dtype([("seed_x", "<i4"), ("seed_y", "<i4"), ("left", "<i4"), ("top", "<i4"), ("right", "<i4"),
                        ("bottom", "<i4"), ("area", "<u4"), ("centre_x", "<f8"), ("centre_y", "<f8")])


def blobs(image, test="ne", value=0, *, connect=8, limits=None, fill_holes=False, no_border=False, count=None,
          bits=0, abort=None):
    """The blobs (connected groups of pixels passing a test) of a one-pixie
    uint8 or uint16 image, in scan order of their first pixel, as a numpy
    record array of BLOB_DTYPE: seed (the first pixel found), box (left and
    top inclusive, right and bottom exclusive), area and centre.

    test: 'lt', 'le', 'eq', 'ge', 'gt', 'ne' against ``value``, 'in'/'out'
    for the range value = low | high << 16, or a test code.  connect: 4 or
    8 neighbours.  limits: (min width, min height, max width, max height)
    of the box, inclusive.  fill_holes: holes count as part of a blob.
    no_border: blobs that touch the image's edge are rejected.  count: at
    most this many.  Answers ``(blobs, rejected)``.  The search works on a
    copy; the image is not changed."""
    raw, rejected = _mvip.blobs(image, test, value, connect, limits, fill_holes, no_border,
                                (1 << 64) - 1 if count is None else count, bits, abort)
    return _np.frombuffer(raw, BLOB_DTYPE).copy().view(_np.recarray), rejected


def draw(image, figure, *args, colour=255, width=1, dots=1, bits=0, abort=None):
    """Draws into ``image`` in place (it must fit as an ``out=`` array) and
    answers it.  Figures and their arguments:

    ``line x0 y0 x1 y1``, ``box x0 y0 x1 y1``, ``arrow x0 y0 x1 y1 [head]``,
    ``ellipse cx cy a b [angle]``, ``curve x0 y0 x1 y1 ...`` (3k + 1 Bezier
    points), ``text x y string [scale]``, ``region file`` (the outline of a
    region text file).  colour: one value per pixie (a single value, or the
    last one given, serves the rest); width: the pen's width; dots: every
    n-th point drawn."""
    _mvip.draw(image, figure, args, colour, width, dots, bits, abort)
    return image


def map_planes(function, stack, *args, out=None, **kwargs):
    """Applies ``function(plane, *args, out=plane_out, **kwargs)`` to every
    plane of a stack, into ``out`` (a new stack shaped like the first
    result when not given)."""
    for z in range(stack.shape[0]):
        if out is None:
            first = function(stack[0], *args, **kwargs)
            out = _np.empty((stack.shape[0],) + first.shape, first.dtype)
            out[0] = first
            continue
        function(stack[z], *args, out=out[z], **kwargs)
    return out
