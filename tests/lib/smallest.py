"""Making a case that shows a fault as small as possible."""


def smallest(case, fails):
    """The case with as much left out as can be with `fails` still true of it.

    Settings become plain, then lines of its files are left out, then single bytes.
    """
    for field, plain in (("traced", False), ("debug_error", False), ("work_file", None),
                         ("slots", (1000, 1000)), ("slots", (1, 1))):
        case = first_failing([case._replace(**{field: plain})], fails) or case
    for split in (lambda text: text.splitlines(keepends=True),
                  lambda text: [text[i:i + 1] for i in range(len(text))]):
        for field in ("export", "work_file"):
            if getattr(case, field) is not None:
                case = shorter(case, field, split, fails)
    return case


def first_failing(cases, fails):
    return next((case for case in cases if fails(case)), None)


def shorter(case, field, split, fails):
    """Leaves out ever smaller parts of the field, from half of it to single pieces."""
    pieces = split(getattr(case, field))
    size = max(1, len(pieces) // 2)
    while True:
        start = 0
        while start < len(pieces):
            fewer = pieces[:start] + pieces[start + size:]
            candidate = case._replace(**{field: b"".join(fewer)})
            if fails(candidate):
                case, pieces = candidate, fewer
            else:
                start += size
        if size == 1:
            return case
        size //= 2
