"""The library's version, by which the scripts name themselves to the services."""

VERSION = "1.1.0"
