"""Shared modules of the Fieldrelaybox tools: wire formats, shared memory, simulated peers.

The wire formats are written down a second time on purpose, so that a mistake in one of the two
shows. Only settings.json comes from the daemon: the rows of its settings.
"""

__version__ = "0.20.2"
