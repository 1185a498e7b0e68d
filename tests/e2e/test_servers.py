"""Servers in another process, dead servers, and the `sandbox` command."""

import json
import pathlib
import signal
import unittest
import urllib.error

from harness import LIMIT, SECRET, HostTest, free_port, opener


class CloudConfig(HostTest):
    def test_whole_journey_against_servers_in_another_process(self):
        servers = self.start_servers()
        user = self.sign_in(servers)
        for command in (
            ("verify", "youtube"),
            ("whoami", "youtube"),
            ("upload", "youtube", self.video()),
            ("logout", "youtube"),
        ):
            self.assert_ends(self.run_program(*self.with_servers(servers, "--json", *command, "--user", user)), 0)

    def test_missing_file(self):
        result = self.run_program("--cloud-config", "none.json", "login", "youtube")
        self.assertEqual(result.code, 1, result)
        self.assert_one_line(result.err, "none.json")

    def test_file_that_is_no_object_of_addresses(self):
        for text in ("[", "[]", '{"urlLFServerClientCredentials": 7}'):
            file = self.folder / "bad.json"
            file.write_text(text)
            result = self.run_program("--cloud-config", file, "login", "youtube")
            self.assertEqual(result.code, 1, result)
            self.assert_one_line(result.err, "--cloud-config", "JSON object")

    def test_configuration_without_the_service(self):
        file = self.folder / "empty.json"
        file.write_text("{}")
        result = self.run_program("--cloud-config", file, "--app-secret", "s", "--json", "login", "youtube")
        self.assert_ends(result, 1)
        self.assertEqual(
            result.events[0], {"event": "error", "code": -10001, "text": "url invalid", "cause": "interface"}
        )


class DeadServer(HostTest):
    def test_every_command_that_needs_it_ends_with_one_line(self):
        servers = self.start_servers()
        self.signed_in(servers)
        servers.stop()
        for command in (("login", "youtube"), ("verify", "youtube"), ("upload", "youtube", self.video())):
            result = self.run_program(*self.with_servers(servers, *command))
            self.assertEqual(result.code, 1, result)
            self.assert_one_line(result.err, "cannot be reached", "--cloud-config")

    def test_the_code_is_the_transport_s(self):
        port = free_port()
        file = self.folder / "dead.json"
        file.write_text(json.dumps({"urlLFServerClientCredentials": f"http://127.0.0.1:{port}/token"}))
        result = self.run_program("--cloud-config", file, "--app-secret", "s", "--json", "login", "youtube")
        self.assert_ends(result, 1)
        self.assertEqual(result.events[0]["code"], 200007)


class SandboxCommand(HostTest):
    def test_serves_other_processes_until_ctrl_c(self):
        running = self.start_program("--json", "sandbox", "--state-dir", self.folder / "state")
        event = running.wait_for_event("sandbox")
        config = self.folder / "config.json"
        config.write_text(json.dumps(event["cloud_config"]))
        login = self.run_program("--cloud-config", config, "--app-secret", "sandbox-app-secret", "login", "youtube")
        self.assertEqual(login.code, 0, login)
        running.interrupt()
        self.assert_ends(running.end(), 0)
        self.assertTrue((self.folder / "state" / "sandbox.db").exists())

    def test_prints_the_configuration_alone_to_the_standard_output(self):
        running = self.start_program("sandbox", "--port", "0")
        running.out.wait_for(lambda line: line.strip().endswith("}"), "the end of the configuration")
        config = json.loads("\n".join(running.out.seen))
        running.err.wait_for(lambda line: "stand-in servers listen on http://127.0.0.1:" in line, "the address")
        self.assertTrue(all(url.startswith("http://127.0.0.1:") for url in config.values()))
        running.process.send_signal(signal.SIGTERM)
        self.assertEqual(running.end().code, 0)

    def test_writes_the_configuration_into_a_file(self):
        file = self.folder / "config.json"
        running = self.start_program("sandbox", "--config-file", file)
        line = running.err.wait_for(lambda line: line.startswith("Their cloud configuration"), "the configuration")
        self.assertTrue(line.endswith(str(file)), line)
        self.assertIn("http://127.0.0.1:", file.read_text())
        running.interrupt()
        result = running.end()
        self.assertEqual((result.code, result.out), (0, ""), result)

    def test_tells_each_exchange_with_v(self):
        running = self.start_program("-v", "sandbox", "--config-file", self.folder / "config.json")
        line = running.err.wait_for(lambda line: "stand-in servers listen on" in line, "the address")
        url = line.split(" listen on ")[1].split(";")[0]
        with self.assertRaises(urllib.error.HTTPError):
            opener.open(url + "/nowhere?access_token=hush", timeout=LIMIT)
        line = running.err.wait_for(lambda line: "/nowhere" in line, "the exchange")
        self.assertRegex(line, r"^404 GET /nowhere\?access_token=\*\*\*  \d+ ms, 0 bytes in, \d+ out$")
        running.interrupt()
        self.assertEqual(running.end().code, 0)

    def test_tells_each_exchange_as_an_event_with_v(self):
        running = self.start_program("--json", "-v", "sandbox")
        url = running.wait_for_event("sandbox")["url"]
        with self.assertRaises(urllib.error.HTTPError):
            opener.open(url + "/nowhere", timeout=LIMIT)
        event = running.wait_for_event("exchange")
        self.assertEqual((event["route"], event["method"], event["target"]), ("unknown", "GET", "/nowhere"))
        self.assertEqual((event["status"], event["received"], event["disturbed"]), (404, 0, 0))
        running.interrupt()
        self.assert_ends(running.end(), 0)

    def test_configuration_that_cannot_be_written(self):
        result = self.run_program("sandbox", "--config-file", self.folder / "nowhere" / "config.json")
        self.assertEqual(result.code, 1, result)
        self.assert_one_line(result.err, "--config-file")

    def test_accepts_the_application_that_it_was_told(self):
        for accepted, given, code in (
            ("secret-of-mine", "secret-of-mine", 0),
            ("secret-of-mine", SECRET, 1),
            ("", "any", 0),
        ):
            with self.subTest(accepted=accepted, given=given):
                servers = self.start_servers("--app-secret", accepted)
                shared = ("--cloud-config", servers.config, "--app-secret", given)
                result = self.run_program(*shared, "--json", "login", "youtube", "--timeout", "10")
                self.assert_ends(result, code)

    def test_names_its_certificate_authority(self):
        running = self.start_program("--json", "sandbox", "--tls")
        event = running.wait_for_event("sandbox")
        self.assertTrue(event["url"].startswith("https://127.0.0.1:"), event)
        self.assertIn("BEGIN CERTIFICATE", pathlib.Path(event["certificate_authority"]).read_text())

    def test_asks_for_consent_when_told_to(self):
        running = self.start_program("--json", "--consent", "ask", "sandbox")
        event = running.wait_for_event("sandbox")
        config = self.folder / "config.json"
        config.write_text(json.dumps(event["cloud_config"]))
        login = self.start_program(
            "--cloud-config", config, "--app-secret", "sandbox-app-secret", "--json", "login", "youtube", "--no-browser"
        )
        page = login.wait_for_event("login_url")["url"]
        with opener.open(page, b"decision=allow") as reply:
            self.assertEqual(reply.status, 200)
        self.assert_ends(login.end(), 0)

    def test_port_that_is_taken(self):
        servers = self.start_servers()
        result = self.run_program("sandbox", "--port", str(servers.port))
        self.assertEqual(result.code, 1, result)
        self.assert_one_line(result.err, "--port")

    def test_state_folder_that_cannot_be_made(self):
        blocked = pathlib.Path(self.folder / "file")
        blocked.write_text("no folder")
        result = self.run_program("sandbox", "--state-dir", blocked / "state")
        self.assertEqual(result.code, 1, result)
        self.assert_one_line(result.err, "state")


if __name__ == "__main__":
    unittest.main()
