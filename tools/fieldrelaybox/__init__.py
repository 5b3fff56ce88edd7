"""Shared modules of the Fieldrelaybox tools: wire formats, shared memory, simulated peers.

Nothing in here is generated from, or linked with, the daemon. The formats are written down a
second time on purpose, so that a mistake in one of the two shows.
"""
