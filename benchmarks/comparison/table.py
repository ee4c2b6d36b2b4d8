"""Plain text tables, and the medians that they show."""
import statistics


def median(values):
    return statistics.median(values)


def show(title, header, rows):
    """Prints the rows, each a list of texts, below a title; the first column is left-aligned."""
    lines = [header] + rows
    widths = [max(len(line[column]) for line in lines) for column in range(len(header))]
    print(f"\n{title}\n")
    for line in lines:
        cells = [line[0].ljust(widths[0])]
        cells += [cell.rjust(width) for cell, width in zip(line[1:], widths[1:])]
        print("  " + "  ".join(cells).rstrip())
    print(flush=True)
