"""All rows, in the order in which they run."""

from rows import downloads, requests, uploads

ROWS = {
    "server-limit": uploads.server_limit,
    "upload-http": uploads.upload_http,
    "upload-https": uploads.upload_https,
    "upload-raw": uploads.upload_raw,
    "multipart": uploads.multipart,
    "download": downloads.download,
    "request": requests.request,
    "memory": uploads.memory,
}
