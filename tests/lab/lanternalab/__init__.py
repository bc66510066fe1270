"""A LAN of network namespaces on one machine, described by one JSON file. See ../README.md."""
