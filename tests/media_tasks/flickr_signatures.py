"""Signs Flickr requests with an OAuth 1.0 library of its own.

Reads from a file lines of key, secret, token, token secret, page and time in milliseconds; writes a percent-encoded
signature for each. The texts hold unreserved characters alone: there the library's canonical form is ours.
"""
import sys
import urllib.parse

from oauthlib.oauth1.rfc5849 import signature

host, questions = sys.argv[1:]
for line in open(questions):
    key, secret, token, token_secret, page, milliseconds = line.split()
    parameters = [
        ("api_key", key),
        ("extras", "original_format,url_o"),
        ("format", "json"),
        ("method", "flickr.photos.getWithoutGeoData"),
        ("nojsoncallback", "1"),
        ("oauth_body_hash", "2jmj7l5rSw0yVb/vlWAYkK/YBwk="),
        ("oauth_consumer_key", key),
        ("oauth_nonce", milliseconds),
        ("oauth_signature_method", "HMAC-SHA1"),
        ("oauth_timestamp", str(int(milliseconds) // 1000)),
        ("oauth_token", token),
        ("oauth_version", "1.0"),
        ("page", page),
        ("per_page", "50"),
    ]
    base = signature.signature_base_string(
        "GET",
        signature.base_string_uri(host + "/services/rest"),
        signature.normalize_parameters(parameters),
    )
    print(urllib.parse.quote(signature.sign_hmac_sha1(base, secret, token_secret), safe="-._~"))
