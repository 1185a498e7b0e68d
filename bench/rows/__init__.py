"""What `tools/bench.sh` compares: a module a kind of work, all rows in `table`."""
