"""Signatures of OAuth 1.0a: the examples of RFC 5849, and another implementation's opinion where there is one."""

import random
import unittest
from unittest import mock

from pysocialnetwork import oauth1

try:
    import oauthlib.oauth1.rfc5849.signature as reference
except ImportError:
    reference = None


class Signatures(unittest.TestCase):
    def test_base_text_of_the_standards_example(self):
        fields = [
            ("oauth_consumer_key", "9djdj82h48djs9d2"),
            ("oauth_token", "kkk9d7dh3k39sjv7"),
            ("oauth_signature_method", "HMAC-SHA1"),
            ("oauth_timestamp", "137131201"),
            ("oauth_nonce", "7d8f3e4a"),
            ("c2", ""),
            ("a3", "2 q"),
        ]
        self.assertEqual(
            oauth1.base_text("post", "http://EXAMPLE.COM:80/request?b5=%3D%253D&a3=a&c%40=&a2=r%20b", fields),
            "POST&http%3A%2F%2Fexample.com%2Frequest&"
            "a2%3Dr%2520b%26a3%3D2%2520q%26a3%3Da%26b5%3D%253D%25253D%26c%2540%3D%26c2%3D%26"
            "oauth_consumer_key%3D9djdj82h48djs9d2%26oauth_nonce%3D7d8f3e4a%26"
            "oauth_signature_method%3DHMAC-SHA1%26oauth_timestamp%3D137131201%26oauth_token%3Dkkk9d7dh3k39sjv7",
        )

    def test_signature_of_the_standards_photo_example(self):
        oauth = {
            "oauth_consumer_key": "dpf43f3p2l4k3l03",
            "oauth_token": "nnch734d00sl2jdk",
            "oauth_signature_method": "HMAC-SHA1",
            "oauth_timestamp": "137131202",
            "oauth_nonce": "chapoH",
        }
        text = oauth1.base_text(
            "GET", "http://photos.example.net/photos?file=vacation.jpg&size=original", oauth.items()
        )
        self.assertEqual(oauth1.signature(text, "kd94hf93k423kf44", "pfkkdhi9sl3r4s00"), "MdpQcU8iPSUjWoN/UDMsK2sui9I=")

    def test_every_request_has_a_nonce_of_its_own(self):
        nonces = {oauth1.signed_fields("GET", "https://h/", {}, ("k", "s"))["oauth_nonce"] for _ in range(100)}
        self.assertEqual(len(nonces), 100)

    def test_fields_of_the_handshake_travel_with_the_signature(self):
        fields = oauth1.signed_fields(
            "GET", "https://h/", {"oauth_callback": "http://c", "x": "y"}, ("k", "s"), ("t", "u")
        )
        self.assertEqual(fields["oauth_callback"], "http://c")
        self.assertEqual(fields["oauth_token"], "t")
        self.assertNotIn("x", fields)

    def test_the_header_quotes_what_needs_it(self):
        self.assertEqual(oauth1.authorization({"b": "x/y=", "a": "1"}), {"Authorization": 'OAuth a="1", b="x%2Fy%3D"'})


if reference is not None:  # of the interpreters that have no such package, the examples above are enough

    class Agreement(unittest.TestCase):
        letters = "abcXYZ019-._~ %&=+/:é漢😀\"'!*()"

        def test_signatures_agree_with_another_implementation(self):
            seed = random.randrange(2**32)
            draw = random.Random(seed)
            for _ in range(200):
                fields = {self.text(draw, 1): self.text(draw, 0) for _ in range(5)}
                url = "https://Up.example.com:%d/a/b" % draw.choice((443, 8080))
                secrets = self.text(draw, 1), self.text(draw, 1)
                place = reference.base_string_uri(url)
                text = reference.signature_base_string(
                    "POST", place, reference.normalize_parameters(list(fields.items()))
                )
                self.assertEqual(oauth1.base_text("POST", url, fields.items()), text, seed)
                client = mock.Mock(client_secret=secrets[0], resource_owner_secret=secrets[1])
                theirs = reference.sign_hmac_sha1_with_client(text, client)
                self.assertEqual(oauth1.signature(text, *secrets), theirs, seed)

        def text(self, draw, shortest):
            return "".join(draw.choices(self.letters, k=draw.randint(shortest, 12)))


if __name__ == "__main__":
    unittest.main()
