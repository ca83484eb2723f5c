# SPDX-License-Identifier: Apache-2.0
"""The version of the package, which is that of the library."""

VERSION = "0.1.0"
