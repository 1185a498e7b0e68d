"""All rows, in the order in which they run."""

from rows import clients, downloads, manager, requests, scripts, uploads

ROWS = {
    "server-limit": uploads.server_limit,
    "upload-http": uploads.upload_http,
    "upload-https": uploads.upload_https,
    "upload-raw": uploads.upload_raw,
    "upload-google-client": clients.upload_google_client,
    "upload-node-client": clients.upload_node_client,
    "upload-small": clients.upload_small,
    "multipart": uploads.multipart,
    "parts": uploads.parts,
    "download": downloads.download,
    "listing": downloads.listing,
    "script-upload": scripts.script_upload,
    "cache-save": manager.cache_save,
    "cache-crowd": manager.cache_crowd,
    "request": requests.request,
    "memory": uploads.memory,
    "parallel": uploads.parallel,
    "load": manager.load,
    "idle": uploads.idle,
    "event": uploads.event,
}

LOOP = "a bare libcurl loop of the same pieces on one handle, in its best form"

# What a line of the result compares: ours, and what with. A line whose figure is no ratio has no peer.
MEANING = {
    "server-limit": ("one PUT of 1 GiB that the kernel sends from the file, with no copy", "the bare loop"),
    "upload-http": ("1 GiB to the YouTube protocol in chunks of 2 MiB, with its login", "`curl -T`, one PUT"),
    "upload-http-cpu": ("processor time of the same", "that of `curl -T`"),
    "upload-https": ("the same over TLS 1.3", "`curl -T` over TLS with the same authorities"),
    "upload-raw": ("the same over HTTP", LOOP),
    "upload-raw-cpu": ("processor time of the same", "that of the loop"),
    "upload-google-client": ("the same", "Google's client for Python, resumable, 2 MiB"),
    "upload-node-client": ("the same", "axios, a loop of PUT"),
    "upload-small": ("2 MiB, a whole process, signed in before", "Google's client for Python"),
    "multipart": ("a form of 52,428,799 bytes to TikTok, in a process that runs", "`curl -F`"),
    "parts": ("100 MiB to Douyin in parts of 4 MiB, in a process that runs", f"{LOOP}, in a process that runs"),
    "download": ("512 MiB to a file", "`curl -o`"),
    "download-cpu": ("processor time of the same", "that of `curl -o`"),
    "download-mib": ("most memory of it, in MiB", None),
    "listing": ("2,000 pages of 50 photos", "bare fetch and parse of the same pages"),
    "script-upload": ("1 GiB by the script for Vimeo in requests of 32 MiB", "`curl -T`"),
    "script-upload-mib": ("most memory of it, with the interpreter, in MiB", None),
    "cache-save-1": ("an update of one user of 1", "SQLite alone, a text of the same length"),
    "cache-save-100": ("an update of one user of 100", "the same"),
    "cache-save-2000": ("an update of one user of 2,000", "the same"),
    "cache-crowd": ("200 updates at once among 2,000 users", "the same one by one"),
    "cache-crowd-writes": ("writes of the file by them", None),
    "cache-crowd-logout-ms": ("a logout among them, in ms", None),
    "request": ("one request over TLS in a warm process", "the same on one handle that is used again"),
    "memory": ("most memory of an upload of 1 GiB", "that of one of 64 MiB"),
    "memory-mib": ("most memory of an upload, in MiB", None),
    "parallel": ("100 uploads of 20 MiB at once", "one of as many bytes"),
    "parallel-mib": ("memory that each of them adds, in MiB", None),
    "load-ms": ("library, four managers and their caches, in ms more than an empty program", None),
    "idle": ("wake-ups a second of an upload that stands still", None),
    "idle-progress": ("the same where somebody hears of bytes", None),
    "event-ms": ("answer of a chunk to the host's function, 100 uploads at once, 99 of 100 below, in ms", None),
}
