"""The interpreter benchmark's kernels in Python, served one run at a time.

Started once by bench_interpreter as `/usr/bin/python3 -I kernels.py`. Each line read
from standard input is `<kernel> <n>`; the answer is one line `<seconds> <check>`:
the time the kernel's function took (time.perf_counter around the call only, so
neither the start of Python nor this protocol is counted) and the value it returned,
which must equal what the Korel kernel of the same name returns. An unknown kernel
or a malformed line is answered `error <why>`. Each kernel is what a Python programmer
would write for the Korel code beside it in korel/.
"""

import sys
import time


def sum_of_squares(n):
    s = 0.0
    for k in range(1, n + 1):
        s = s + k ** 2
    return s


def branch_chain(n):
    i = 0
    phase = 0
    a = 0
    b = 0
    c = 0
    d = 0
    while i < n:
        i = i + 1
        phase = phase + 1
        if phase == 1:
            a = a + 1
        elif phase == 2:
            b = b + 2
        elif phase == 3:
            c = c + 3
        else:
            d = d + 4
            phase = 0
    return a + b + c + d


def fib(n):
    if n < 2:
        return n
    return fib(n - 1) + fib(n - 2)


def running_sum(n):
    a = [0.0] * n
    b = [1.0] * n
    a[0] = b[0]
    for i in range(1, n):
        a[i] = a[i - 1] + b[i]
    return a[n - 1] + a[n // 2 - 1]


def fill_matrix(n):
    A = [[0] * (n + 1) for _ in range(n + 1)]
    for i in range(1, n + 1):
        for j in range(1, n + 1):
            A[i][j] = i * j
    return A[n][n] + A[2][n - 1] + A[n - 2][3]


def struct_field(n):
    d = {'x': [0] * (n + 1)}
    for i in range(1, n + 1):
        d['x'][i] = i
    return d['x'][n] + d['x'][1]


def cell_append(n):
    c = []
    for i in range(1, n + 1):
        c.append(i)
    return len(c) + c[-1]


def vector_append(n):
    v = []
    for i in range(1, n + 1):
        v.append(i)
    return len(v) + v[-1]


def string_building(n):
    t = ''
    for i in range(1, n + 1):
        t = t + '%d,' % i
    return len(t)


KERNELS = {f.__name__: f for f in (sum_of_squares, branch_chain, fib, running_sum, fill_matrix,
                                   struct_field, cell_append, vector_append, string_building)}


def serve(requests, replies):
    for line in requests:
        parts = line.split()
        if len(parts) != 2 or parts[0] not in KERNELS or not parts[1].isdigit():
            replies.write(f"error cannot run {line.strip()!r}\n")
            replies.flush()
            continue
        kernel, n = KERNELS[parts[0]], int(parts[1])
        started = time.perf_counter()
        check = kernel(n)
        seconds = time.perf_counter() - started
        replies.write(f"{seconds!r} {check!r}\n")
        replies.flush()


if __name__ == "__main__":
    serve(sys.stdin, sys.stdout)
