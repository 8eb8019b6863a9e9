// The precompiled header of the tests belongs to this file; see tests/CMakeLists.txt.
