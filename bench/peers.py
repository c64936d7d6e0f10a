"""peers.py - solves and times what the benchmark sends; worker.hpp describes the messages."""
import ctypes
import struct
import sys
import sysconfig
import time

import numpy
import scipy
import scipy.optimize
from numpy.polynomial import Chebyshev
from scipy import interpolate
from scipy.optimize import __nnls as nnls_module


def receive():
    head = sys.stdin.buffer.read(8)
    if len(head) < 8:
        sys.exit(0)
    count = int(struct.unpack("d", head)[0])
    return numpy.frombuffer(sys.stdin.buffer.read(8 * count))


def send(values):
    values = numpy.ascontiguousarray(values, dtype=float).ravel()
    sys.stdout.buffer.write(struct.pack("d", len(values)) + values.tobytes())
    sys.stdout.buffer.flush()


def columns(values, m, n):
    """A matrix by columns, and what follows it."""
    return numpy.array(values[: m * n].reshape(n, m).T, order="F"), values[m * n :]


# Each takes a problem. It returns a call to be timed, and a function that turns the outcome of the call
# into what is compared.


def nonnegative(values):
    m, n = int(values[0]), int(values[1])
    A, b = columns(values[2:], m, n)
    return lambda: scipy.optimize.nnls(A, b)[0], lambda x: x


def table(values, m):
    return numpy.array(values[:m]), numpy.array(values[m : 2 * m]), numpy.array(values[2 * m :])


def inner_knots(x, n):
    return numpy.linspace(x[0], x[-1], n + 2)[1:-1]


def spline_fit(values):
    """FITPACK's least-squares spline with given knots."""
    m, n = int(values[0]), int(values[1])
    x, y, _ = table(values[2:], m)
    knots = inner_knots(x, n)
    return lambda: interpolate.splrep(x, y, t=knots, task=-1), lambda spline: interpolate.splev(x, spline)


def spline_fit_by_normal_equations(values):
    """The banded normal equations of the B-splines."""
    m, n = int(values[0]), int(values[1])
    x, y, _ = table(values[2:], m)
    knots = numpy.r_[[x[0]] * 4, inner_knots(x, n), [x[-1]] * 4]
    return lambda: interpolate.make_lsq_spline(x, y, knots), lambda spline: spline(x)


def spline_smoothing(values):
    m, n = int(values[0]), int(values[1])
    x, y, _ = table(values[2:], m)
    knots = inner_knots(x, n)

    def smooth():
        s = interpolate.splev(x, interpolate.splrep(x, y, t=knots, task=-1))
        r = s - y
        return s, numpy.sqrt(numpy.mean(r * r)), numpy.max(numpy.abs(r))

    return smooth, lambda outcome: numpy.r_[outcome]


def spline_values(values):
    """Values, or values and two derivatives, by FITPACK."""
    m, n, derivatives = (int(value) for value in values[:3])
    x, y, v = table(values[3:], m)
    spline = interpolate.splrep(x, y, t=inner_knots(x, n), task=-1)
    return (
        lambda: [interpolate.splev(v, spline, der=order) for order in range(derivatives + 1)],
        numpy.concatenate,
    )


def spline_values_by_pieces(values):
    """The same from the polynomials between the knots."""
    m, n, derivatives = (int(value) for value in values[:3])
    x, y, v = table(values[3:], m)
    pieces = interpolate.PPoly.from_spline(interpolate.splrep(x, y, t=inner_knots(x, n), task=-1))
    return lambda: [pieces(v, order) for order in range(derivatives + 1)], numpy.concatenate


def chebyshev_fit(values):
    m, p = int(values[0]), int(values[1])
    x, y, _ = table(values[2:], m)
    return lambda: Chebyshev.fit(x, y, p), lambda series: series(x)


def chebyshev_values(values):
    m, p, derivatives = (int(value) for value in values[:3])
    x, y, v = table(values[3:], m)
    series = Chebyshev.fit(x, y, p)
    orders = [series.deriv(order) if order else series for order in range(derivatives + 1)]
    return lambda: [order(v) for order in orders], numpy.concatenate


def place_of_nnls(_):
    """Where the compiled routine is: its distance from the entry of its module, in bytes, then the names of
    Python's library, the module and the entry, each ended by 0."""
    pointer = ctypes.pythonapi.PyCapsule_GetPointer
    pointer.restype, pointer.argtypes = ctypes.c_void_p, [ctypes.py_object, ctypes.c_char_p]
    routine = pointer(nnls_module.nnls._cpointer, None)
    entry = "PyInit___nnls"
    start = ctypes.cast(getattr(ctypes.CDLL(nnls_module.__file__), entry), ctypes.c_void_p).value
    names = [sysconfig.get_config_var("INSTSONAME"), nnls_module.__file__, entry]
    place = [routine - start] + [ord(c) for name in names for c in name + "\0"]
    return lambda: place, lambda values: values


def bounded(values):
    m, n = int(values[0]), int(values[1])
    A, rest = columns(values[2:], m, n)
    b, bounds = rest[:m], (rest[m : m + n], rest[m + n :])
    return lambda: scipy.optimize.lsq_linear(A, b, bounds, method="bvls").x, lambda x: x


PROBLEMS = {
    1: nonnegative,
    2: spline_fit,
    3: spline_fit_by_normal_equations,
    4: spline_smoothing,
    5: spline_values,
    6: spline_values_by_pieces,
    7: chebyshev_fit,
    8: chebyshev_values,
    9: place_of_nnls,
    10: bounded,
}

send([ord(c) for c in "SciPy %s, NumPy %s (one process of Python)" % (scipy.__version__, numpy.__version__)])
solve = None
while True:
    message = receive()
    if message[0] != 0:
        solve, compared = PROBLEMS[int(message[0])](message[1:])
        send(compared(solve()))
        continue
    calls = range(int(message[1]))
    start = time.process_time()
    for _ in calls:
        solve()
    send([time.process_time() - start])
