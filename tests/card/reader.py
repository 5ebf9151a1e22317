"""A reader for the card, and a service for it, that nobody else on the machine sees."""

import fcntl
import os
import socket
import struct
import subprocess
import sys
import tempfile

from browser.process import die_with_the_test, until
