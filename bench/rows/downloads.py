"""Downloads to a file."""

from rows.measure import Result, Run, in_turn, ratios
from rows.workplace import MIB


def download(work):
    address = f"{work.told['http']}/{work.scaled(512 * MIB)}"
    pairs = in_turn(
        work.pairs,
        lambda: Run([work.program("download_host"), address, work.path("downloaded")]),
        lambda: work.curl("-o", work.path("downloaded-by-curl"), address),
    )
    return ratios("download", pairs, wall=1.10, cpu=1.10) + [
        Result("download-mib", [ours.told("kib") / 1024 for ours, _ in pairs], 18)
    ]
