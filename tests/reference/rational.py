"""Linear algebra in exact rational arithmetic, for the scripts beside it."""


def solve(rows, right):
    """The solution of a square system by elimination, all Fractions."""
    rows = [list(row) + [value] for row, value in zip(rows, right)]
    for k in range(len(rows)):
        pivot = next(i for i in range(k, len(rows)) if rows[i][k])
        rows[k], rows[pivot] = rows[pivot], rows[k]
        rows[k] = [value / rows[k][k] for value in rows[k]]
        for i in range(len(rows)):
            if i != k and rows[i][k]:
                rows[i] = [a - rows[i][k] * c for a, c in zip(rows[i], rows[k])]
    return [row[-1] for row in rows]
