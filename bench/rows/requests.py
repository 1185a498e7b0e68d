"""Small requests."""

import os
import time

from rows.measure import Result, Run, in_turn


def wait_until_old(path, seconds):
    """Files of authorities that are younger are read anew for each client."""
    time.sleep(max(0, os.path.getmtime(path) + seconds - time.time()))


def request(work):
    """One request in a warm process, over TLS."""
    wait_until_old(work.told["authority"], 4)
    count = str(20 * work.pairs)
    url = work.told["https"] + "/request"

    def rounds(way):
        return Run([work.program("request_rounds"), way, url, work.told["authority"], count]).told("microseconds")

    pairs = in_turn(work.pairs, lambda: rounds("ours"), lambda: rounds("handle"))
    return [Result("request", [one / other for one, other in pairs], 1.5)]
