"""Listings, and downloads to a file."""

from rows.measure import Result, Run, in_turn, ratios
from rows.workplace import MIB


def download(work):
    address = f"{work.told['http']}/{work.scaled(512 * MIB)}"
    pairs = in_turn(
        work.pairs,
        lambda: Run([work.program("download_host"), address, work.path("downloaded")], sends=True),
        lambda: work.curl("-o", work.path("downloaded-by-curl"), address),
    )
    return ratios("download", pairs, wall=1.10, cpu=1.10) + [
        Result("download-mib", [ours.told("kib") / 1024 for ours, _ in pairs], 18)
    ]


def listing(work):
    """A list of 50 photos a page beside the bare fetch and parse of the same pages."""
    pages = 50 if work.is_quick else 2000
    rounds = Run([work.program("media_listing_bench"), str(pages), str(work.pairs)]).text.splitlines()
    pairs = [[float(number) for number in line.split()] for line in rounds]
    return [Result("listing", [ours / bare for ours, bare in pairs], 1.05)]
