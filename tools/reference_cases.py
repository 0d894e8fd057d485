"""Writes reference cases: calls of exports with the values that they must give.

A file holds lines of words; those that begin with # are comments:
  case EXPORT [NAME]          begins a case; its arguments follow in order, one or more to a line
    i N | d X | o | x         an integer, a double, an output, an output that is declined
    m ROWS COLUMNS X...       a matrix
    csv FILE [A-B] COLUMN...  columns of a file in tests/data, or their observations A to B, as the columns of a matrix;
                              "1" is a column of ones. Ends its line, as the next one does
    rows FILE [A-B] COLUMN... the same as the rows of a matrix
  value P TOLERANCE R C X...  output P (-1: the result) is R x C, each cell X within TOLERANCE max(1, |X|); nan is missing
  sums P TOLERANCE X...       the sums over each row of output P, its cells times 1, 2, 3, ...
  cell P TOLERANCE I J X [Y]  cell (I, J) of output P is X within TOLERANCE max(|X|, Y), Y being 0 if not given
  size P R C                  output P is R x C
  unfit I ARGUMENT            with this as argument I nothing is computed, and no output is written
"""

import mpmath


class Cases:
    def __init__(self, path, heading):
        self.lines = ["# " + line for line in heading.splitlines()]
        self.path = path

    def case(self, export, name, *arguments):
        """Arguments: ints, floats, None for an output, ("csv", file, columns...), a line of arguments as it stands in
        the file, or rows of numbers."""
        self.lines.append(f"case {export} {name}")
        for argument in arguments:
            if argument is None:
                self.lines.append("o")
            elif isinstance(argument, str):
                self.lines.append(argument)
            elif isinstance(argument, int):
                self.lines.append(f"i {argument}")
            elif isinstance(argument, float):
                self.lines.append("d " + number(argument))
            elif len(argument) > 0 and isinstance(argument[0], str):
                self.lines.append(" ".join(argument))
            else:
                self.lines.append("m " + matrix(argument))

    def comment(self, text):
        self.lines.append("# " + text)

    def value(self, position, tolerance, rows):
        if not hasattr(rows, "__len__"):
            rows = [[rows]]
        self.lines.append(f"value {position} {tolerance} {matrix(rows)}")

    def sums(self, position, tolerance, rows):
        values = [sum((j + 1) * x for j, x in enumerate(row)) for row in rows]
        self.lines.append(f"sums {position} {tolerance} " + " ".join(number(x) for x in values))

    def cell(self, position, tolerance, i, j, value, floor=None):
        """The value and the floor as they are to stand in the file."""
        self.lines.append(" ".join(str(w) for w in ["cell", position, tolerance, i, j, value, floor] if w is not None))

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
