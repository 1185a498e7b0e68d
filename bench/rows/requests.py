"""Small requests."""

from rows.measure import Result, Run, in_turn


def request(work):
    """One request in a warm process, over TLS."""
    count = str(20 * work.pairs)
    url = work.told["https"] + "/request"

    def rounds(way):
        return Run([work.program("request_rounds"), way, url, work.told["authority"], count]).told("microseconds")

    pairs = in_turn(work.pairs, lambda: rounds("ours"), lambda: rounds("handle"))
    return [Result("request", [one / other for one, other in pairs], 1.5)]
