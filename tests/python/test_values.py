"""Texts, tokens, tables and bodies: what needs no network."""

import os
import pathlib
import re
import tempfile
import time
import unittest
from unittest import mock

from pysocialnetwork import login, replies, retry, services, texts
from pysocialnetwork.bodies import LocalFile, Multipart, form
from pysocialnetwork.connection import Answer
from pysocialnetwork.errors import UploadError
from pysocialnetwork.login import Login
from pysocialnetwork.retry import RetryPolicy, retry_after_seconds

import support


class Texts(unittest.TestCase):
    def test_a_message_is_one_short_line_without_secrets(self):
        text = texts.message_for_host("bad\r\ntoken a/b+c== and a%2Fb%2Bc%3D%3D\0!" + "x" * 2000, ["a/b+c==", "", "x"])
        self.assertTrue(text.startswith("bad token *** and *** !"), text)
        self.assertEqual(len(text.encode()), 1023)

    def test_the_longest_secret_is_masked_first(self):
        self.assertEqual(texts.message_for_host("abcdefgh", ["abcd", "abcdefgh"]), "***")

    def test_a_cut_keeps_letters_whole(self):
        self.assertEqual(texts.cut_bytes("aéé", 4), "aé")

    def test_tags_are_split_trimmed_and_named_once(self):
        self.assertEqual(texts.split_tags(" #one, two words;two words\r\n,#,three"), ["one", "two words", "three"])

    def test_each_category_ends_with_a_bar_and_none_is_cut(self):
        self.assertEqual(texts.category_list(["A", "B|C"]), "A|B/C|")
        self.assertEqual(texts.category_list(["half \ud83d", "B"]), "half ?|B|")
        long = texts.category_list("é" * 50 for _ in range(100))
        self.assertLessEqual(len(long.encode()), texts.LONGEST_CATEGORIES)
        self.assertEqual(set(long.split("|")), {"é" * 50, ""})

    def test_privacy_is_private_unless_said_and_never_guessed(self):
        names = {"public": "P", "private": "S"}
        self.assertEqual(texts.chosen_privacy("", names), "S")
        self.assertEqual(texts.chosen_privacy(" Public ", names), "P")
        with self.assertRaisesRegex(UploadError, "'open' is not known; use one of: public, private"):
            texts.chosen_privacy("open", names)


class Tokens(unittest.TestCase):
    whole = Login("vimeo", "access", "refresh", "secret", 99, 11, "id", "Zoë")

    def test_the_text_comes_back_as_the_login(self):
        text = self.whole.to_text()
        self.assertTrue(text.isascii() and text.isprintable())
        self.assertEqual(Login.from_text(text, "vimeo"), self.whole)

    def test_the_text_of_long_tokens_fits_into_the_hosts_field(self):
        text = Login("youtube", os.urandom(700).hex(), os.urandom(300).hex()).to_text()
        self.assertLess(len(text), 4096)

    def test_a_login_that_would_not_fit_is_refused(self):
        with self.assertRaisesRegex(UploadError, "too long"):
            Login("youtube", os.urandom(5000).hex()).to_text()
        with self.assertRaisesRegex(UploadError, "too long"):
            Login("youtube", "a", os.urandom(5000).hex()).to_text()

    def test_an_access_token_that_is_too_long_is_left_out_where_it_can_be_renewed(self):
        whole = Login("youtube", os.urandom(3000).hex(), os.urandom(300).hex(), expires=2**40, user_name="Ada")
        text = whole.to_text()
        self.assertLess(len(text), 4096)
        kept = Login.from_text(text, "youtube")
        self.assertEqual((kept.access, kept.refresh, kept.user_name), ("", whole.refresh, "Ada"))
        self.assertTrue(kept.has_expired())

    def test_damaged_and_foreign_texts_are_refused(self):
        good = self.whole.to_text()
        bomb = login.MARK + __import__("base64").urlsafe_b64encode(__import__("zlib").compress(b" " * 10**6)).decode()
        for text in (
            "",
            "error",
            "mt1.",
            good[:-3],
            good + "AAAA",
            good.replace("mt1.", "mt2."),
            "mt1.é",
            bomb,
            "x" * 5000,
        ):
            with self.subTest(text[:20]), self.assertRaisesRegex(UploadError, "damaged"):
                Login.from_text(text, "vimeo")
        with self.assertRaisesRegex(UploadError, "another platform"):
            Login.from_text(good, "flickr")

    def test_values_of_another_kind_are_refused(self):
        for change in ({"expires": "soon"}, {"user_name": None}, {"access": "a b"}, {"access": ""}, {"access": "a\nb"}):
            text = Login(**{**self.whole.__dict__, **change}).to_text()
            with self.subTest(change), self.assertRaises(UploadError):
                Login.from_text(text, "vimeo")

    def test_expiry_is_told_in_seconds_from_now(self):
        self.assertEqual(login.expiry({"expires_in": 60}, now=1000), 1060)
        self.assertEqual(login.expiry({"expires_in": "60"}, now=1000), 1060)
        for value in (None, "soon", True, -1, 0, 10**30, [], float("nan")):
            self.assertEqual(login.expiry({"expires_in": value}, now=1000), 0, value)

    def test_a_login_without_end_never_expires(self):
        self.assertFalse(Login("flickr", "a").has_expired(10**9))
        self.assertTrue(Login("flickr", "a", expires=int(time.time()) - 1).has_expired())
        self.assertTrue(Login("flickr", "a", expires=int(time.time()) + 50).has_expired(100))


class Addresses(unittest.TestCase):
    def read(self, content):
        with tempfile.TemporaryDirectory() as folder:
            path = os.path.join(folder, "services.json")
            with open(path, "w", encoding="utf-8") as file:
                file.write(content)
            return services.Services.from_environment({services.ENVIRONMENT_VARIABLE: path})

    def test_without_a_file_the_defaults_hold(self):
        table = services.Services.from_environment({})
        for key, address in services.DEFAULTS.items():
            self.assertEqual(table.address(key), address)
            self.assertTrue(address.startswith("https://") and not address.endswith("/"), address)

    def test_the_guide_lists_every_address(self):
        guide = pathlib.Path(__file__).resolve().parent.parent.parent / "docs" / "script-guide.md"
        rows = re.findall(r"^\| `(\w+)` \| (https://\S+) \|$", guide.read_text(encoding="utf-8"), re.MULTILINE)
        self.assertEqual(dict(rows), dict(services.DEFAULTS))

    def test_a_file_replaces_what_it_names(self):
        table = self.read('{"vimeoApi": "http://127.0.0.1:1/v/"}')
        self.assertEqual(table.address("vimeoApi"), "http://127.0.0.1:1/v")
        self.assertEqual(table.address("vimeoToken"), services.DEFAULTS["vimeoToken"])

    def test_a_file_that_cannot_be_used_is_told(self):
        cases = {
            "{": "cannot read",
            "[]": "no JSON object",
            '{"vimeo": "http://h"}': "no service with the key",
            '{"vimeoApi": 1}': "is no text",
            '{"vimeoApi": "ftp://h"}': "is no URL",
            '{"vimeoApi": "http://h:port"}': "is no URL",
            '{"vimeoApi": "http://[h"}': "is no URL",
        }
        for content, message in cases.items():
            with self.subTest(content), self.assertRaisesRegex(UploadError, message):
                self.read(content)
        with self.assertRaisesRegex(UploadError, "cannot read"):
            services.Services.from_environment({services.ENVIRONMENT_VARIABLE: "/nowhere/x.json"})


class Pauses(unittest.TestCase):
    def test_the_pause_doubles_and_is_drawn_from_its_upper_half(self):
        policy = RetryPolicy(attempts=10, first_pause=1.0, longest_pause=30.0)
        for failures, whole in ((1, 1), (2, 2), (3, 4), (6, 30), (9, 30)):
            drawn = [policy.pause_after(failures, None) for _ in range(300)]
            self.assertGreaterEqual(min(drawn), whole / 2)
            self.assertLessEqual(max(drawn), whole)
            self.assertGreater(max(drawn) - min(drawn), whole / 10)

    def test_the_service_may_ask_for_a_longer_pause_within_bounds(self):
        policy = RetryPolicy()
        self.assertEqual(policy.pause_after(1, 77.0), 77.0)
        self.assertIsNone(policy.pause_after(1, policy.longest_retry_after + 1))

    def test_tries_are_bounded(self):
        policy = RetryPolicy(attempts=3)
        self.assertIsNotNone(policy.pause_after(2, None))
        self.assertIsNone(policy.pause_after(3, None))

    def test_a_date_without_a_zone_is_in_greenwich_time(self):
        for date in ("Sun Nov  6 08:49:37 1994", "Sunday, 06-Nov-94 08:49:37 GMT", "Sun, 06 Nov 1994 08:49:37 GMT"):
            self.assertEqual(retry_after_seconds(date, now=784111770), 7.0)

    def test_the_end_of_a_limits_window_is_waited_for(self):
        now = 784111777
        date = {"Date": "Sun, 06 Nov 1994 08:49:37 GMT"}
        for headers, pause in (
            ({"Retry-After": "9", "X-RateLimit-Reset": str(now + 50)}, 9.0),
            ({"Retry-After": "Sun, 06 Nov 1994 08:49:57 GMT"}, 20.0),
            ({"X-RateLimit-Reset": str(now + 50)}, 50.0),
            ({"Ratelimit-Reset": str(now + 50)}, 50.0),
            ({"X-RateLimit-Reset": "1994-11-06T08:50:07+00:00"}, 30.0),
            ({"X-RateLimit-Reset": "1994-11-06T08:50:07Z"}, 30.0),
            ({"X-RateLimit-Reset": "1994-11-06T08:50:07"}, 30.0),
            ({"X-RateLimit-Reset": str(now + 900)}, None),
            ({"X-RateLimit-Reset": str(now)}, None),
            ({"X-RateLimit-Reset": "soon"}, None),
            ({"X-RateLimit-Reset": "9" * 400}, None),
            ({}, None),
        ):
            with self.subTest(headers):
                self.assertEqual(retry.pause_asked_for(429, {**date, **headers}.get), pause)
        self.assertIsNone(retry.pause_asked_for(503, {**date, "X-RateLimit-Reset": str(now + 50)}.get))

    def test_retry_after_is_seconds_or_a_date(self):
        self.assertEqual(retry_after_seconds(" 7 "), 7.0)
        self.assertEqual(retry_after_seconds("Thu, 01 Jan 1970 00:01:00 GMT", now=50), 10.0)
        self.assertEqual(retry_after_seconds("Thu, 01 Jan 1970 00:01:00 GMT", now=70), 0.0)
        for header in (None, "", "soon", "-1", "1.5", "٣", "9" * 40, "Thu, 99 Jan 1970"):
            self.assertIsNone(retry_after_seconds(header), header)

    def test_calls_of_the_host_are_given_up_sooner(self):
        self.assertLess(retry.FOREGROUND.attempts, RetryPolicy().attempts)
        self.assertLess(retry.FOREGROUND.longest_retry_after, RetryPolicy().longest_retry_after)


class Answers(unittest.TestCase):
    def test_anything_but_an_object_is_an_empty_one(self):
        for body in (b"", b"[]", b"null", b"{", b"\xff", b"[" * 100000):
            self.assertEqual(replies.json_object(Answer(200, {}, body)), {})

    def test_numbers_without_measure_are_none(self):
        body = b'{"id": %s, "long": -%s, "name": "x", "size": 12345678901234567890}' % (b"7" * 3000000, b"7" * 21)
        value = replies.json_object(Answer(200, {}, body))
        self.assertEqual(value, {"id": None, "long": None, "name": "x", "size": 12345678901234567890})

    def test_texts_that_cannot_be_sent_on_are_none(self):
        value = replies.json_object(Answer(200, {}, b'{"a": "\\ud83d", "b": "\\ud83d\\ude00"}'))
        self.assertEqual((replies.text_member(value, "a"), replies.text_member(value, "b")), ("", "\U0001f600"))

    def test_members_of_another_kind_count_as_absent(self):
        value = {"a": {"b": 5, "c": [], "d": True, "e": ""}}
        self.assertEqual(replies.text_member(value, "a", "b"), "5")
        for path in (("a", "c"), ("a", "d"), ("a", "b", "x"), ("z",)):
            self.assertEqual(replies.text_member(value, *path), "")
        for path in (("a", "e"), ("z",)):
            with self.assertRaisesRegex(UploadError, "lacks " + ".".join(path)):
                replies.required_text(value, *path)

    def test_numbers_may_be_texts(self):
        self.assertEqual(replies.required_number({"n": "12"}, "n"), 12)
        for value in ("-1", "x", "9" * 30, 1.5, None):
            with self.assertRaises(UploadError):
                replies.required_number({"n": value}, "n")


class Bodies(unittest.TestCase):
    def test_a_form_is_percent_encoded_utf8(self):
        self.assertEqual(b"".join(form({"a b": "ü&="}).blocks()), b"a+b=%C3%BC%26%3D")

    def test_a_multipart_body_has_the_length_it_says(self):
        with support.video_file(200000) as (path, content), LocalFile(path) as file:
            seen = []
            body = Multipart(
                [("title", 'Zoë "x"'), ('na"me', "")], "photo", "a\r\nb.mp4", file.part(10, 150000, seen.append)
            )
            sent = b"".join(body.blocks())
            self.assertEqual(len(sent), body.length)
            self.assertIn(content[10:150010], sent)
            self.assertIn(b'filename="a%0D%0Ab.mp4"', sent)
            self.assertIn(b'name="na%22me"', sent)
            self.assertEqual(seen[-1], 150010)
            self.assertEqual(b"".join(body.blocks()), sent)

    def test_a_large_file_is_read_block_by_block(self):
        with support.video_file(300000) as (path, content), LocalFile(path) as file:
            blocks = list(file.whole().blocks())
            self.assertLessEqual(max(map(len, blocks)), 64 * 1024)
            self.assertEqual(b"".join(blocks), content)

    def test_a_file_that_shrinks_is_told(self):
        with support.video_file(1000) as (path, _), LocalFile(path) as file:
            os.truncate(path, 10)
            with self.assertRaisesRegex(UploadError, "changed while it was being sent"):
                list(file.whole().blocks())

    def test_a_file_that_grows_or_is_written_again_is_told(self):
        def grow(path):
            with open(path, "ab") as file:
                file.write(b"more")

        for change in (grow, lambda path: os.utime(path, (1, 1))):
            with support.video_file(100000) as (path, _), LocalFile(path) as file:
                blocks = file.whole().blocks()
                next(blocks)
                change(path)
                with self.assertRaisesRegex(UploadError, "changed while it was being sent"):
                    next(blocks)

    @unittest.skipIf(os.name == "nt", "there are no such pipes there")
    def test_a_pipe_is_refused_and_not_waited_for(self):
        with tempfile.TemporaryDirectory() as folder:
            pipe = os.path.join(folder, "pipe")
            os.mkfifo(pipe)
            with self.assertRaisesRegex(UploadError, "no regular file"):
                LocalFile(pipe)

    def test_missing_empty_and_impossible_files_are_told(self):
        with tempfile.TemporaryDirectory() as folder:
            empty = os.path.join(folder, "empty")
            open(empty, "w").close()
            for path, message in (
                (empty, "is empty"),
                (folder + "/x", "cannot open"),
                (folder, "cannot open"),
                ("a\0b", "cannot open"),
            ):
                with self.subTest(path), self.assertRaisesRegex(UploadError, message):
                    LocalFile(path)

    @unittest.skipIf(os.name == "nt", "paths are text there")
    def test_a_path_is_utf8_whatever_the_locale_says(self):
        with support.video_file(10) as (path, content):
            with mock.patch("sys.getfilesystemencoding", lambda: "ascii"), LocalFile(path) as file:
                self.assertEqual(file.read(0, 10), content)


if __name__ == "__main__":
    unittest.main()
