"""What no thread may keep or wait on."""

import pathlib
import re
import unittest

ROOT = pathlib.Path(__file__).resolve().parents[2]
PLAIN = re.compile(r"thread_local (bool|int|(const )?\w+\*( const)?) \w+ = (nullptr|false|0);")
WAKE_UPS_THAT_GET_LOST = re.compile(
    r"#include <(latch|semaphore|barrier)>|\bstd::(latch|barrier|counting_semaphore|binary_semaphore|atomic_(flag_)?(wait|notify_\w+))\b"
)
ATOMIC = re.compile(r"\bstd::atomic(?:_\w+)?(?:<[^;()]*>)?\s+(\w+)\s*[;{=,)]")

OTHER = re.compile(r"^\s*(?:[A-Z]\w*|std::condition_variable(?:_any)?) (\w+)[;{]", re.MULTILINE)


def sources(*folders):
    for folder in folders:
        yield from (ROOT / folder).rglob("*.h")
        yield from (ROOT / folder).rglob("*.cpp")


def waits_on_an_atomic(text, header=""):
    """The first call in `text` that waits on one of the atomics of it or its header, or wakes who does."""
    names = set(ATOMIC.findall(text + header)) - set(OTHER.findall(text + header))
    if not names:
        return None
    call = re.search(r"\b(?:%s)(?:\.|->)(?:wait|notify_one|notify_all)\(" % "|".join(sorted(names)), text)
    return call and call[0]


class ThreadLocals(unittest.TestCase):
    """A destructor of a thread's own that ends behind a library's unloading would be run where nothing is mapped any more, and
    one of the main thread keeps a Windows library loaded."""

    def test_all_are_numbers_and_pointers(self):
        found = 0
        for path in sources("src", "include", "sandbox", "apps"):
            for line in path.read_text(encoding="utf-8").splitlines():
                if re.search(r"\bthread_local\b", line.split("//")[0]):
                    found += 1
                    self.assertRegex(line, PLAIN, path)
        self.assertGreater(found, 0)


class WakeUps(unittest.TestCase):
    """mingw-w64's run-time library loses the wake-ups of atomics and of what is made of them."""

    def test_nobody_waits_on_an_atomic(self):
        for path in sources("src", "include", "sandbox", "apps", "tests", "examples", "bench"):
            text = path.read_text(encoding="utf-8")
            header = path.with_suffix(".h")
            self.assertNotRegex(text, WAKE_UPS_THAT_GET_LOST, path)
            self.assertIsNone(
                waits_on_an_atomic(text, header.read_text(encoding="utf-8") if header.exists() else ""), path
            )

    def test_what_would_is_found(self):
        for line in ("std::latch begun(2);", "#include <semaphore>", "std::atomic_wait(&count, 0);"):
            self.assertRegex(line, WAKE_UPS_THAT_GET_LOST)
        self.assertTrue(waits_on_an_atomic("std::atomic<int> count{0}; count.wait(0);"))
        self.assertTrue(waits_on_an_atomic("flag_.notify_all();", "std::atomic_flag flag_;"))
        self.assertIsNone(
            waits_on_an_atomic("std::condition_variable end; end.wait(lock);", "std::atomic<int> count_;")
        )


class Detached(unittest.TestCase):
    """A thread that ends while it is detached leaves the thread library of mingw-w64 with a record that serves two threads, of which
    one never runs. Those that are meant to run alone are detached from their birth on (KBL::System::startDetached)."""

    # How often each may: on the thread itself, or under a lock that the thread has yet to take.
    MAY = {
        "src/foundation/system/DetachedThread.cpp": 1,  # where that library is none of the system's
        "src/foundation/BsNet/requests/KblBaseRequest.cpp": 2,
        "src/media_tasks/SNRRequestTask.cpp": 1,
        "examples/own_foundation/BsNet/Request.cpp": 2,
        "examples/own_foundation/KblUtils/Time.cpp": 1,
    }

    def test_are_threads_by_nobody_else(self):
        found = {}
        for path in sources("src", "include", "sandbox", "apps", "examples"):
            calls = len(re.findall(r"(?:\.|->)detach\(\)", path.read_text(encoding="utf-8")))
            if calls:
                found[path.relative_to(ROOT).as_posix()] = calls
        self.assertEqual(found, self.MAY)


if __name__ == "__main__":
    unittest.main()
