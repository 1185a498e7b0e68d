"""Logins that end at a loopback redirect address, where the program listens: nothing is copied."""

import socket
import subprocess
import unittest
import urllib.parse

from scripted import Scripted, location, make_home

FREE_PORT = "http://127.0.0.1:0/signed-in"


def setUpModule():
    make_home()


def get(address):
    """What a browser is shown there."""
    place = urllib.parse.urlsplit(address)
    with socket.create_connection((place.hostname, place.port), timeout=60) as connection:
        connection.sendall(f"GET {place.path}?{place.query} HTTP/1.1\r\nHost: {place.netloc}\r\n\r\n".encode())
        answer = b""
        while part := connection.recv(65536):
            answer += part
    return answer.decode()


class Caught(Scripted):
    def setUp(self):
        super().setUp()
        self.servers = self.start_services("--app-redirect", "")
        self.env["MEDIATRANSFER_APP_REDIRECT"] = FREE_PORT

    def start_login(self, *options, **streams):
        running = self.start_program("--json", "login", "vimeo", *options, **streams)
        return running, location(running.wait_for_event("login_url")["url"])

    def test_signs_in_without_anything_at_the_standard_input(self):
        login, reached = self.start_login()
        answer = get(reached)
        self.assertTrue(answer.startswith("HTTP/1.1 200 "), answer)
        self.assertIn("You may close this window.", answer)
        self.assert_ends(login.end(), 0)

    def test_other_requests_do_not_end_the_login(self):
        login, reached = self.start_login()
        place = urllib.parse.urlsplit(reached)
        query = urllib.parse.parse_qs(place.query)
        origin = f"http://{place.netloc}"
        self.assertIn(" 404 ", get(origin + "/favicon.ico?x").splitlines()[0])
        self.assertIn(" 400 ", get(f"{origin}/signed-in?code={query['code'][0]}").splitlines()[0])
        self.assertIn(" 400 ", get(f"{origin}/signed-in?code=stolen&state=guessed").splitlines()[0])
        # The right state without a code: the script asks on.
        self.assertIn(" 400 ", get(f"{origin}/signed-in?state={query['state'][0]}").splitlines()[0])
        silent = socket.create_connection((place.hostname, place.port), timeout=60)
        self.addCleanup(silent.close)
        silent.sendall(b"GET /sig")
        self.assertIn(" 200 ", get(reached).splitlines()[0])
        self.assert_ends(login.end(), 0)
        self.assertEqual(len(self.servers.requests("vimeoToken")), 1)

    def test_listens_on_this_machine_alone(self):
        login, reached = self.start_login()
        port = urllib.parse.urlsplit(reached).port
        with self.assertRaises(ConnectionRefusedError):
            socket.create_connection(("127.0.0.2", port), timeout=60)
        login.interrupt()
        self.assert_ends(login.end(), 130)

    def test_address_may_be_given_all_the_same(self):
        login, reached = self.start_login(stdin=subprocess.PIPE)
        login.say(reached)
        self.assert_ends(login.end(), 0)

    def test_time_limit_ends_the_wait(self):
        login, _ = self.start_login("--timeout", "1")
        result = login.end()
        self.assert_ends(result, 1)
        self.assertIn("--timeout SECONDS", result.named("error")[0]["text"])

    def test_port_of_the_application_is_the_one_that_is_listened_at(self):
        with socket.socket() as probe:
            probe.bind(("127.0.0.1", 0))
            address = f"http://127.0.0.1:{probe.getsockname()[1]}/cb"
        self.env["MEDIATRANSFER_APP_REDIRECT"] = address
        login, reached = self.start_login()
        self.assertTrue(reached.startswith(address + "?"), reached)
        self.assertIn(" 200 ", get(reached).splitlines()[0])
        self.assert_ends(login.end(), 0)

    def test_port_that_somebody_has_is_told_and_the_address_is_asked_for(self):
        with socket.socket() as other:
            other.bind(("127.0.0.1", 0))
            other.listen()
            self.env["MEDIATRANSFER_APP_REDIRECT"] = f"http://127.0.0.1:{other.getsockname()[1]}/cb"
            login = self.start_program("login", "vimeo", stdin=subprocess.PIPE)
            page = login.out.wait_for(lambda line: "sign in with a browser at: " in line, "the address")
            login.out.wait_for(lambda line: "cannot listen at http://127.0.0.1:" in line, "the reason")
            login.say(location(page.partition(": ")[2]))
            self.assertEqual(login.end().code, 0)

    def test_address_can_be_given_to_a_later_call(self):
        login, reached = self.start_login("--timeout", "1")
        self.assertEqual(login.end().code, 1)
        result = self.run_program("--json", "login", "vimeo", "--redirect-url", reached)
        self.assert_ends(result, 0)

    def test_tells_people_what_is_waited_for(self):
        login = self.start_program("login", "vimeo", "--timeout", "1")
        self.assertIn("waiting for the browser to come back; nothing has to be copied", login.end().out)


class Copied(Scripted):
    def test_says_that_an_error_page_is_to_be_expected(self):
        self.start_services()
        result = self.run_program("login", "vimeo")
        self.assertEqual(result.code, 1, result)
        self.assertIn("an error page: that is as it should be", result.out)


class WithTheStandInsOfTheProgram(Scripted):
    def test_consent_that_is_asked_for_needs_no_copying(self):
        login = self.start_program("--sandbox", "--consent", "ask", "--json", "login", "flickr", "--no-browser")
        page = location(login.wait_for_event("login_url")["url"])
        self.assertIn(" 200 ", get(location(page, {"decision": "allow"})).splitlines()[0])
        self.assert_ends(login.end(), 0)


if __name__ == "__main__":
    unittest.main()
