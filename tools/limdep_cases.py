"""Writes reference cases: calls of exports with the values that they must give.

A file holds lines of words:
  case EXPORT NAME           begins a case; its arguments follow in order
  i N | d X | o              an integer, a double, an output
  m ROWS COLUMNS X...        a matrix
  csv FILE COLUMN...         columns of a file in tests/data as a matrix; "1" is a column of ones
  value P TOLERANCE R C X... what output P (-1: the result) must hold, each cell within TOLERANCE max(1, |X|)
  sums P TOLERANCE X...      what the sums over each row of output P must be, its cells times 1, 2, 3, ...
"""

import mpmath


class Cases:
    def __init__(self, path, heading):
        self.lines = ["# " + line for line in heading.splitlines()]
        self.path = path

    def case(self, export, name, *arguments):
        """Arguments: ints, floats, None for an output, ("csv", file, columns...), or rows of numbers."""
        self.lines.append(f"case {export} {name}")
        for argument in arguments:
            if argument is None:
                self.lines.append("o")
            elif isinstance(argument, int):
                self.lines.append(f"i {argument}")
            elif isinstance(argument, float):
                self.lines.append("d " + number(argument))
            elif len(argument) > 0 and isinstance(argument[0], str):
                self.lines.append(" ".join(argument))
            else:
                self.lines.append("m " + matrix(argument))

    def value(self, position, tolerance, rows):
        if not hasattr(rows, "__len__"):
            rows = [[rows]]
        self.lines.append(f"value {position} {tolerance} {matrix(rows)}")

    def sums(self, position, tolerance, rows):
        values = [sum((j + 1) * x for j, x in enumerate(row)) for row in rows]
        self.lines.append(f"sums {position} {tolerance} " + " ".join(number(x) for x in values))

    def write(self):
        self.path.write_text("\n".join(self.lines) + "\n")


def number(x):
    return repr(float(x)) if mpmath.isfinite(x) else "nan"


def matrix(rows):
    """Rows of numbers; a flat list is a column."""
    rows = [list(row) if hasattr(row, "__len__") else [row] for row in rows]
    columns = len(rows[0]) if rows else 0
    return f"{len(rows)} {columns} " + " ".join(number(x) for row in rows for x in row)


def gradient(function, theta, h=mpmath.mpf(10) ** -15):
    """Central differences; at 60 digits their error is about 1e-30."""
    def shifted(i, sign):
        return function([x + sign * h if l == i else x for l, x in enumerate(theta)])
    return [(shifted(i, 1) - shifted(i, -1)) / (2 * h) for i in range(len(theta))]


def hessian(function, theta):
    rows = [gradient(lambda at, i=i: gradient(function, at)[i], theta) for i in range(len(theta))]
    return rows


def outer(vectors):
    n = len(vectors[0])
    return [[sum(v[i] * v[j] for v in vectors) for j in range(n)] for i in range(n)]
