#!/usr/bin/python3
"""Writes the expected output of each program in examples/programs, computed here in
Python from the same algorithms, independently of the Korel engine.

    /usr/bin/python3 tests/examples/expected_outputs.py examples/programs
"""
import math
import sys
from pathlib import Path


def newton():
    out = []
    def solve(f, df, x):
        for k in range(1, 51):
            step = f(x) / df(x)
            x = x - step
            if abs(step) < 1e-13:
                return x, k
        raise RuntimeError
    r, k = solve(lambda x: x * x - 2, lambda x: 2 * x, 1.0)
    out.append('sqrt(2) ~ %.12f after %d steps' % (r, k))
    g = lambda x: x ** 3 - 2 * x - 5
    r, k = solve(g, lambda x: 3 * x * x - 2, 2.0)
    out.append('root of x^3-2x-5 ~ %.12f after %d steps' % (r, k))
    out.append('residual %.1e' % abs(g(r)))
    return out


def quadrature():
    def linspace(a, b, n):
        return [a + (b - a) * i / (n - 1) for i in range(n - 1)] + [b]
    def exp_approx(x):
        y, term = 1.0, 1.0
        for k in range(1, 31):
            term = term * x / k
            y = y + term
        return y
    fs = [lambda x: x ** 2, lambda x: 4 / (1 + x ** 2), exp_approx]
    names = ['x^2 on [0,1]', '4/(1+x^2) on [0,1]', 'exp on [0,1]']
    exact = [1 / 3, 3.141592653589793, 1.718281828459045]
    out = []
    for f, name, e in zip(fs, names, exact):
        n = 100
        x = linspace(0, 1, n + 1)
        y = [f(v) for v in x]
        h = 1 / n
        t = h * (math.fsum(y) - (y[0] + y[-1]) / 2)
        s = h / 3 * (y[0] + y[-1] + 4 * math.fsum(y[1:-1:2]) + 2 * math.fsum(y[2:-2:2]))
        out.append("%-20s trapezoid %.10f  simpson %.10f  (trapezoid error %.1e, simpson's below 1e-9: %d)"
                   % (name, t, s, abs(t - e), abs(s - e) < 1e-9))
    return out


def bisection():
    def bisect(f, a, b, tol):
        fa = f(a)
        while b - a > tol:
            m = (a + b) / 2
            fm = f(m)
            if (fm > 0) - (fm < 0) == (fa > 0) - (fa < 0):
                a, fa = m, fm
            else:
                b = m
        return (a + b) / 2
    return ['x^3 = x + 1 at %.9f' % bisect(lambda x: x ** 3 - x - 1, 1, 2, 1e-10),
            'x^3 = 10 at %.9f' % bisect(lambda x: x ** 3 - 10, 0, 5, 1e-10),
            'Bisection:noSignChange: f has the same sign at -1 and 1.',
            'Bisection:badInterval: The interval [1, 0] is empty.']


def sorting():
    data = [31, 4, 15, 9, 26, 5, 35, 8, 97, 93, 23, 84, 62, 64, 33, 83, 27, 95, 2, 88]
    names = ['pear', 'apple', 'fig', 'banana', 'cherry']
    return [' '.join(str(v) for v in sorted(data)) + ' ', 'same: 1',
            ' '.join(sorted(names)) + ' ',
            ' '.join(sorted(names, key=len)) + ' ']  # Python's sort is stable too


def wordcount():
    text = ('the quick brown fox jumps over the lazy dog. The dog sleeps; '
            'the fox, quick as ever, jumps again.').lower()
    counts, word = {}, ''
    for c in text + ' ':
        if 'a' <= c <= 'z' or c == "'":
            word += c
        elif word:
            counts[word] = counts.get(word, 0) + 1
            word = ''
    out = ['%d distinct words' % len(counts)]
    for w in sorted(counts):
        if counts[w] > 1:
            out.append('%-6s %d' % (w, counts[w]))
    longest = ''
    for w in sorted(counts):
        if len(w) > len(longest):
            longest = w
    out.append('longest: %s' % longest)
    return out


def hanoi():
    out, moves = [], []
    def move(n, a, c, b):
        if n == 0:
            return
        move(n - 1, a, b, c)
        moves.append((n, a, c))
        move(n - 1, b, c, a)
    move(4, 'A', 'C', 'B')
    for k, (n, a, c) in enumerate(moves[:5], 1):
        out.append('move %2d: disk %d from %s to %s' % (k, n, a, c))
    out.append('4 disks: %d moves (2^4 - 1 = 15)' % len(moves))
    return out


def validation():
    return ['record 1: id 7, qty 3',
            'record 2 rejected (Records:negative): Quantity -1 is negative.',
            "record 3 skipped: No id in 'qty=2'.",
            "record 4 rejected (Records:badRecord): Record 'id=x;qty=1' cannot be read.",
            '  because Field id is not a number.',
            'record 5: id 9, qty 4',
            'total quantity 7',
            'KException | 2 of 5 records used',
            'Only 7 items']


def grades():
    students = [('Ada', [91, 78, 85]), ('Ben', [62, 88, 70]), ('Cleo', [77, 95, 90]),
                ('Dev', [85, 85, 60])]
    courses = ['algebra', 'biology', 'chemistry']
    means = [sum(s) / 3 for _, s in students]
    out = []
    for (name, s), m in zip(students, means):
        out.append('%-5s %s  mean %.2f' % (name, ''.join('%4d' % v for v in s), m))
    for c, course in enumerate(courses):
        best = max(range(4), key=lambda k: (students[k][1][c], -k))
        out.append('best in %-9s %s (%d)' % (course, students[best][0], students[best][1][c]))
    order = sorted(range(4), key=lambda k: -means[k])
    out.append('ranking: ' + ' > '.join(students[k][0] for k in order))
    out.append('passed: %d of 4' % sum(m >= 75 for m in means))
    return out


def sieve():
    limit = 100
    flags = [False, False] + [True] * (limit - 1)
    for p in range(2, int(math.isqrt(limit)) + 1):
        if flags[p]:
            for q in range(p * p, limit + 1, p):
                flags[q] = False
    primes = [k for k in range(limit + 1) if flags[k]]
    gaps = [b - a for a, b in zip(primes, primes[1:])]
    twins = [k for k, g in enumerate(gaps) if g == 2]
    largest = max(gaps)
    return ['%d primes up to %d, the last %d' % (len(primes), limit, primes[-1]),
            ' '.join(str(p) for p in primes[:10]) + ' ...',
            '%d twin pairs, the largest (%d, %d)' % (len(twins), primes[twins[-1]],
                                                    primes[twins[-1] + 1]),
            'largest gap %d after %d' % (largest, primes[gaps.index(largest)])]


def closures():
    pipeline = [lambda x: x + 1, lambda x: x ** 2, lambda x: 2 * x, lambda x: x - 3]
    value = 4
    for f in pipeline:
        value = f(value)
    return ['42 42', 'pipeline(4) = %d' % value, 'composed: %d' % value,
            'each at 0: ' + ''.join('%d ' % f(0) for f in pipeline),
            '@(x) x + 1', '@(x) x .^ 2', '@(x) k * x', '@(x) x - 3',
            '42, takes 2 inputs', 'captured 1, now 2']


def collatz():
    def seq(n):
        s = [n]
        while n != 1:
            n = n // 2 if n % 2 == 0 else 3 * n + 1
            s.append(n)
        return s
    limit = 30
    lengths = [len(seq(n)) for n in range(1, limit + 1)]
    best = max(range(limit), key=lambda k: (lengths[k], -k)) + 1
    s = seq(best)
    return ['below %d: %d has the longest sequence, %d numbers' % (limit + 1, best, len(s)),
            ' '.join(str(v) for v in s[:12]) + ' ...',
            'peak %d, steps with odd numbers %d' % (max(s), sum(v % 2 for v in s)),
            'lengths 1..10: ' + ''.join('%d ' % v for v in lengths[:10])]


def memo():
    fib = [0, 1, 1]
    for k in range(3, 61):
        fib.append(fib[-1] + fib[-2])
    ways = [1, 1, 2]
    for k in range(3, 31):
        ways.append(ways[-1] + ways[-2] + ways[-3])
    return ['fib(60) = %d' % fib[60], '58 values cached, keys 3..60',
            'ways to climb 30 stairs by 1, 2 or 3: %d' % ways[30]]


PROGRAMS = [newton, quadrature, bisection, sorting, wordcount, hanoi, validation, grades,
            sieve, closures, collatz, memo]

if __name__ == '__main__':
    root = Path(sys.argv[1])
    for program in PROGRAMS:
        text = '\n'.join(program()) + '\n'
        (root / program.__name__ / (program.__name__ + '.expected')).write_text(text)
