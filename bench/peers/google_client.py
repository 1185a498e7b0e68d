"""A resumable upload by Google's client for Python, as its documents show it: URL FILE."""

import sys

from googleapiclient.http import HttpRequest, MediaFileUpload, build_http

CHUNK = 2 << 20


def read(response, content):
    return content


def main():
    url, path = sys.argv[1:]
    media = MediaFileUpload(path, mimetype="video/mp4", chunksize=CHUNK, resumable=True)
    request = HttpRequest(build_http(), read, url, method="POST", body="{}", headers={}, resumable=media)
    answer = None
    while answer is None:
        _, answer = request.next_chunk()


if __name__ == "__main__":
    main()
