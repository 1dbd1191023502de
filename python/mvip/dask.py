"""mvip on Dask: the same code on a laptop and on a cluster.

* :func:`filter` runs a neighbourhood filter (or a pixel-wise operation)
  over a ``dask.array`` tile by tile, each tile with the overlap the filter
  needs, so that the result equals the plain call on the whole image, tile
  borders included; the image's own edges are the tiles' outer edges, so
  the library treats them exactly as in the plain call.
* :func:`map_planes` applies an operation (or any function of one array)
  to every plane of a stack.
* :func:`map_files` applies one to every file of a list and writes the
  results.

The work runs on whatever scheduler is active: threads by default (every
library call releases the interpreter lock), or a ``dask.distributed``
cluster once a ``Client`` exists.
"""

import functools
import os

import dask
import dask.array as da
import numpy as np

import mvip

# Pixel-wise operations that still need the whole image (a histogram of
# all of it, a table in the second image).
_GLOBAL = {"pixcontrastperc", "pixmaplut"}


def overlap_of(name, *params, **kwparams):
    """The overlap a tile needs for operation ``name``: 0 for pixel-wise
    operations, 1 for 3x3 and 2x2 filters, n // 2 for the n x n ones; None
    for operations whose output pixels depend on more (copies that shift,
    mirror or resample, interlacing, histogram stretches)."""
    if name in _GLOBAL:
        return None
    if name.startswith(("pix", "pair", "triplet")):
        return 0
    if name.startswith(("3x3", "2x2")):
        return 1
    if name.startswith("NxN"):
        n = params[0] if params else kwparams.get("n")
        return int(n) // 2 if n is not None else None
    return None


def filter(array, name, *params, chunks=None, depth=None, bits=0, **kwparams):
    """Operation ``name`` of the table over a 2-D or 3-D (height, width,
    pixies) array of one image, tile by tile: ``filter(a, '3x3median')``,
    ``filter(a, 'NxNconvolve', 5, coef, 0, 0, 0)``.  Answers a lazy dask
    array equal to the plain call.

    A numpy array is cut into tiles of ``chunks`` (rows, columns; default
    eight bands of whole lines): each task filters a view of its tile with
    the overlap around it, without copying the source.  A dask array keeps
    its chunks (or is rechunked to ``chunks``) and goes through
    ``map_overlap``.  The pixie axis is never split.  ``depth`` overrides
    the overlap (see :func:`overlap_of`); operations whose pixels depend on
    the whole image are refused (ValueError)."""
    if depth is None:
        depth = overlap_of(name, *params, **kwparams)
        if depth is None:
            raise ValueError(f"{name}: not a neighbourhood or pixel-wise operation; "
                             "run it on the whole image (or give depth=)")
    run = functools.partial(_tile, name, params, kwparams, bits)
    if isinstance(array, np.ndarray):
        return _tiles_of_views(array, run, depth, chunks)
    a = array if chunks is None else array.rechunk(tuple(chunks[:2]) + (-1,) * (array.ndim - 2))
    if a.ndim == 3 and a.numblocks[2] != 1:
        a = a.rechunk({2: -1})
    if depth == 0:
        return a.map_blocks(run, dtype=a.dtype)
    overlap = {0: depth, 1: depth, 2: 0}
    return a.map_overlap(run, depth={k: v for k, v in overlap.items() if k < a.ndim}, boundary="none",
                         trim=True, dtype=a.dtype)


def _tile(name, params, kwparams, bits, tile):
    return mvip.op(name, tile, *params, bits=bits, **kwparams)


def _trimmed(run, view, top, left, height, width):
    return run(view)[top:top + height, left:left + width]


def _tiles_of_views(a, run, depth, chunks):
    height, width = a.shape[:2]
    rows, cols = (chunks[0], chunks[1]) if chunks is not None else (max(1, -(-height // 8)), width)
    task = dask.delayed(_trimmed, pure=False)
    grid = []
    for y in range(0, height, rows):
        y1 = min(y + rows, height)
        lo_y, hi_y = max(0, y - depth), min(height, y1 + depth)
        line = []
        for x in range(0, width, cols):
            x1 = min(x + cols, width)
            lo_x, hi_x = max(0, x - depth), min(width, x1 + depth)
            shape = (y1 - y, x1 - x) + a.shape[2:]
            view = a[lo_y:hi_y, lo_x:hi_x]  # no copy: the library works on the view
            line.append(da.from_delayed(task(run, view, y - lo_y, x - lo_x, y1 - y, x1 - x), shape, a.dtype))
        grid.append(da.concatenate(line, axis=1))
    return da.concatenate(grid, axis=0)


def _function(operation, params, kwparams):
    if callable(operation):
        return functools.partial(operation, *params, **kwparams) if params or kwparams else operation
    return functools.partial(_run_op, operation, params, kwparams)


def _run_op(name, params, kwparams, image):
    result = mvip.op(name, image, *params, **kwparams)
    return result[0] if isinstance(result, tuple) else result


def map_planes(stack, operation, *params, **kwparams):
    """``operation`` (a table name, or a function of one array answering an
    array) applied to every plane of a stack ``(depth, height, width[,
    pixies])``, a numpy or dask array: ``map_planes(s, '3x3median')``.
    The planes are independent tasks; answers a lazy dask array of the
    results (the first plane is computed at once to learn their shape)."""
    run = _function(operation, params, kwparams)
    s = stack if isinstance(stack, da.Array) else da.from_array(stack, chunks=(1,) + stack.shape[1:])
    first = np.asarray(run(np.asarray(s[0])))
    planes = [da.from_array(first, chunks=first.shape)]
    task = dask.delayed(run, pure=True)
    for z in range(1, s.shape[0]):
        planes.append(da.from_delayed(task(s[z]), shape=first.shape, dtype=first.dtype))
    return da.stack(planes)


def _process_file(run, source, target, write_options):
    result = run(mvip.read(source))
    if target is None:
        return result
    mvip.write(target, result, **write_options)
    return target


def map_files(operation, paths, outputs=None, *params, compute=True, write_options=None, **kwparams):
    """``operation`` (a table name, or a function of one array) applied to
    the image of every file of ``paths``, each file one task.  ``outputs``:
    the files to write the results to (a list as long as ``paths``, or a
    folder, where each result keeps its source's name), or None to answer
    the arrays.  With ``compute=False`` answers the dask.delayed tasks;
    otherwise runs them on the active scheduler and answers the written
    paths (or the arrays)."""
    run = _function(operation, params, kwparams)
    paths = [os.fspath(p) for p in paths]
    if outputs is None:
        targets = [None] * len(paths)
    elif isinstance(outputs, (str, os.PathLike)):
        os.makedirs(outputs, exist_ok=True)
        targets = [os.path.join(outputs, os.path.basename(p)) for p in paths]
    else:
        targets = [os.fspath(t) for t in outputs]
        if len(targets) != len(paths):
            raise ValueError("outputs: one file for each path")
    task = dask.delayed(_process_file, pure=False)
    tasks = [task(run, p, t, write_options or {}) for p, t in zip(paths, targets)]
    return list(dask.compute(*tasks)) if compute else tasks
