"""Uploads to social networks: one class a platform over one base.

`pythondlls/authupload.py` makes the objects; `uploader.Uploader` tells what the library calls.
Needs nothing but the standard library of CPython 3.8 or later.
"""
