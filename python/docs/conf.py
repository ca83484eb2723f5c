# SPDX-License-Identifier: Apache-2.0
"""Makes the reference of the Python package (scripts/docs)."""

import os
import sys

sys.path.insert(0, os.path.abspath(".."))

import opcraft  # noqa: E402  (by the library that OPCRAFT_LIBRARY names)

project = "opcraft"
author = "The Opcraft authors"
version = release = opcraft.__version__
extensions = ["sphinx.ext.autodoc", "sphinx.ext.napoleon"]
autodoc_member_order = "bysource"
autodoc_typehints = "description"
autodoc_typehints_description_target = "documented"
nitpicky = False
html_theme = "alabaster"
html_show_copyright = False
html_copy_source = False
