"""What the uploads to platforms with a size limit, TikTok and Douyin, have in common."""

import time


class LimitedUpload:
    """Names its `LIMIT` in bytes and in words, and the `FIRST_ROUTE` of its upload; beside a `SignedInTest`."""

    def upload_side_by_side(self, count, path, *options):
        """So many uploads at once, which meet what was ordered for the first requests: who waits, waits with the others."""
        running = [self.start_upload(path, *options) for _ in range(count)]
        return [program.end() for program in running]

    def test_file_of_the_limit(self):
        too_large = self.sparse_file(self.LIMIT)
        plain = self.upload(too_large)
        self.assertEqual(plain.code, 1, plain)
        self.assert_one_line(plain.err, "too large", "-10026", "limit " + self.LIMIT_TEXT, "smaller")
        begin = time.monotonic()
        lines = self.upload(too_large, "--json")
        self.assertLess(time.monotonic() - begin, 30, "nothing more can come: no part was sent")
        self.assert_ends(lines, 1)
        self.assertEqual(
            lines.named("error"),
            [{"event": "error", "value": 12, "text": f"-10026,{too_large}, limit {self.LIMIT_TEXT}", "cause": "file"}],
        )
        self.assertEqual(self.servers.requests(self.FIRST_ROUTE), [])

    def test_missing_or_empty_file_or_folder(self):
        for path in (self.folder / "none.mp4", self.sparse_file(0), self.folder):
            result = self.upload(path)
            self.assertEqual(result.code, 1, result)
            self.assert_one_line(result.err, str(path))
        self.assertEqual(self.servers.requests("consume"), [])
