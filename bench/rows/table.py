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
