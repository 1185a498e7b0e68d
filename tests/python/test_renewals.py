"""Logins that are renewed: by several objects at once, under a stop, and while the service does not answer."""

import threading
import time
import unittest
from dataclasses import replace
from unittest import mock

from pysocialnetwork import renewal
from pysocialnetwork.errors import Stopped, TokenInvalid, Transient
from pysocialnetwork.login import Login
from pysocialnetwork.retry import BACKGROUND

from probe import Probe, UploaderCase
from support import LIMIT, QUICK, Reply, Server, make_wire, quick, wait_until
from test_patience import Clock, ClockedStop

FINISHED, ERROR = 2, 3


class Asking(Probe):
    """Its renewals are given the wire."""

    def _renew(self, wire, login):
        return self.renew(wire, login)


class Renewals(UploaderCase):
    def setUp(self):
        super().setUp()
        self.uploader = self.signed_in("0")

    def signed_in(self, number, expires=0):
        uploader = quick(self.host.attach(Asking()))
        uploader.set_login(Login("probe", "access-" + number, refresh="r" + number, expires=expires))
        return uploader

    def use(self, uploader, call=lambda login: login.access):
        with make_wire() as wire:
            return uploader.authorized(wire, call)

    def test_another_objects_login_that_has_ended_too_is_renewed(self):
        for refresh in ("same", "other"):
            with self.subTest(refresh), mock.patch.object(renewal, "renewals", renewal.Renewals()):
                good, count = set(), []

                def renew(wire, login):
                    count.append(login.refresh)
                    number = str(len(count))
                    good.add("access-" + number)
                    return replace(login, access="access-" + number, refresh=refresh + number * (refresh == "other"))

                def call(login):
                    if login.access not in good:
                        raise TokenInvalid("ended")
                    return login.access

                first, second = self.signed_in("0"), self.signed_in("0")
                for uploader in (first, second):
                    uploader.set_login(replace(uploader.login, refresh="same"))
                    uploader.renew = renew
                self.assertEqual(self.use(first, call), "access-1")
                good.clear()
                self.assertEqual(self.use(second, call), "access-2")
                self.assertEqual(self.use(first, call), "access-2")
                self.assertEqual(len(count), 2)

    def renew_twice(self, uploader, name):
        numbers = iter("12")

        def renew(wire, login):
            number = next(numbers)
            return replace(login, access=name + "-access-" + number, refresh=name + "-refresh-" + number)

        def refuse_first(login):
            if login.access != name + "-access-2":
                raise TokenInvalid("ended")
            return login.access

        uploader.renew = renew
        self.assertEqual(self.use(uploader, refuse_first), name + "-access-2")

    def test_who_logs_out_leaves_no_token_behind(self):
        def kept():
            return repr(renewal.renewals._successors) + repr(vars(uploader._store))

        # Also where the login is over by then.
        for dropped in (False, True):
            first, uploader = self.signed_in("0"), self.signed_in("0")
            other = self.signed_in("7")
            self.renew_twice(other, "other")
            self.renew_twice(first, "mine")
            uploader.renew = lambda wire, login: self.fail("it was renewed already")
            self.assertEqual(self.use(uploader), "access-0")
            uploader.set_login(first.login)
            if dropped:
                uploader._store.drop(uploader.login)
            self.assertIn("mine-access-1", kept())
            uploader.Logout()
            self.assertNotIn("mine-", kept())
            # What others have is theirs.
            self.assertEqual(renewal.renewals.newest(Login("probe", "a", refresh="r7")), other.login)

    def test_a_logout_during_a_renewal_is_the_end_of_it(self):
        uploader = self.signed_in("0", expires=1)

        def renew(wire, login):
            uploader.Logout()
            return replace(login, access="renewed", refresh="r1", expires=0)

        uploader.renew = renew
        with self.assertRaisesRegex(TokenInvalid, "nobody is signed in any more"):
            self.use(uploader)
        self.assertEqual((uploader.login, renewal.renewals._successors), (None, {}))

    def test_a_login_during_a_renewal_counts_more(self):
        uploader = self.signed_in("0", expires=1)

        def renew(wire, login):
            uploader.set_login(Login("probe", "the-hosts", refresh="r9"))
            return replace(login, access="renewed", refresh="r1", expires=0)

        uploader.renew = renew
        self.assertEqual(self.use(uploader), "the-hosts")
        self.assertEqual(uploader.login.access, "the-hosts")

    def test_a_service_that_takes_no_login_ends_it(self):
        def refuse(login):
            raise TokenInvalid("no")

        count = []
        self.uploader.renew = lambda wire, login: count.append(1) or replace(login, access="a%d" % len(count))
        with self.assertRaises(TokenInvalid):
            self.use(self.uploader, refuse)
        self.assertEqual((len(count), self.uploader.login), (renewal.MOST_RENEWALS, None))

    def test_what_is_good_once_is_not_spent_by_two_at_once(self):
        soon = int(time.time()) + renewal.SAFETY_SECONDS // 2
        first, second = self.signed_in("0", expires=1), self.signed_in("0", expires=1)
        spent, inside, go, ended = [], threading.Event(), threading.Event(), []

        def renew(wire, login):
            if login.refresh in spent:
                raise TokenInvalid("Invalid refresh token")
            spent.append(login.refresh)
            if len(spent) > 1:
                inside.set()
                go.wait(LIMIT)
            number = str(len(spent))
            return replace(login, access="access-" + number, refresh="r" + number, expires=[soon, 0][len(spent) > 1])

        first.renew = second.renew = renew
        # The first one's ends soon as well, the second has heard of neither.
        self.use(first)
        locks, plain = [], renewal.held

        def held(*arguments):
            locks.append(arguments)
            return plain(*arguments)

        def run(uploader):
            try:
                ended.append(self.use(uploader))
            except TokenInvalid as error:
                ended.append(error)

        threads = [threading.Thread(target=run, args=(uploader,)) for uploader in (first, second)]
        with mock.patch.object(renewal, "held", held):
            threads[0].start()
            self.assertTrue(inside.wait(LIMIT))
            threads[1].start()
            wait_until(lambda: len(locks) == 4 or ended, "the second one at its turn")
            go.set()
            for thread in threads:
                thread.join(LIMIT)
        self.assertEqual((ended, spent), (["access-2", "access-2"], ["r0", "r1"]))
        self.assertEqual(second.login, first.login)

    def test_a_stop_during_a_renewal_does_not_cost_the_login(self):
        asked, stopped = threading.Event(), threading.Event()

        def respond(request):
            asked.set()
            stopped.wait(LIMIT)
            return Reply(200, "{}")

        def renew(wire, login):
            wire.exchange("GET", server.url)
            return replace(login, access="renewed", refresh="r1", expires=0)

        uploader = self.signed_in("0", expires=1)
        uploader.renew = renew
        uploader.upload = lambda job, wire: uploader.authorized(wire, lambda login: "https://" + login.access)
        with Server(respond) as server:
            uploader.StartUpload("p", "", "", "", "", "")
            self.assertTrue(asked.wait(LIMIT))
            uploader.StopUpload()
            stopped.set()
            self.assertEqual(self.host.wait_for_end()[1:], (ERROR, "User cancelled!"))
            self.assertEqual(uploader.login.refresh, "r1")
            uploader.StartUpload("p", "", "", "", "", "")
            self.assertEqual(self.host.wait_for_end(2)[1:], (FINISHED, "https://renewed"))
            self.assertEqual(len(server.requests), 1)

    def test_a_renewal_that_nobody_answers_is_borne_as_long_as_anything_and_leaves_others_their_turn(self):
        uploader, clock, tries = self.signed_in("0", expires=1), Clock(), []

        class Stop(ClockedStop):
            def wait(self, seconds):
                locks.append(uploader._renewal.lock.locked() or len(renewal.renewals._turns))
                super().wait(seconds)

        def renew(wire, login):
            # The row of the wire that it is given is one try of the job's.
            wire.run(lambda: tries.append(1) or fail())

        def fail():
            raise Transient("cannot reach x", offline=True)

        locks = []
        uploader.renew = renew
        with make_wire(BACKGROUND, stop=Stop(clock)) as wire:
            wire._clock = clock.time
            with self.assertRaisesRegex(Transient, "cannot reach x") as caught:
                uploader.authorized(wire, lambda login: None)
        self.assertTrue(caught.exception.unprocessed)
        self.assertTrue(BACKGROUND.patience <= clock.now - 1000.0 < 2 * BACKGROUND.patience, clock.now)
        self.assertEqual(len(tries), len(locks) + 1)
        self.assertFalse(any(locks))
        self.assertIsNotNone(uploader.login)

    def test_a_stop_ends_the_wait_for_anothers_renewal(self):
        uploader = self.signed_in("0", expires=1)
        uploader.renew = lambda wire, login: self.fail("it was not its turn")
        for lock in (uploader._renewal.lock, None):
            with self.subTest(lock), make_wire(QUICK) as other, make_wire(QUICK) as wire:
                with lock or renewal.renewals.turn(uploader.login, other, 0.0):
                    waiting = threading.Timer(0.01, wire.stop.set)
                    waiting.start()
                    with self.assertRaises(Stopped):
                        uploader.authorized(wire, lambda login: None)
                    waiting.join(LIMIT)


if __name__ == "__main__":
    unittest.main()
