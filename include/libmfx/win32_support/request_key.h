#pragma once

#include <string>

#include "libmfx/data_structures/point.h"
#include "libmfx/export.h"

/// \file
/// What the requests of a feature type may hold, key by key.

namespace libmfx::win32_support {

/// The object of a request in which a key stands.
enum RequestPlace : int {
  REQUEST_ROOT = 0,     ///< the request itself
  REQUEST_FEATURE = 1,  ///< its "Feature"
  REQUEST_PATH = 2,     ///< the "Path" in "Feature"
};

/// What a value of a request is. Lengths are metres, angles radians.
enum RequestKind : int {
  REQUEST_NUMBER = 0,
  REQUEST_WHOLE = 1,      ///< a whole number of 32 bits
  REQUEST_COUNT = 2,      ///< the same; what is below 0 reads as 0
  REQUEST_BOOL = 3,       ///< true or false
  REQUEST_SWITCH = 4,     ///< a whole number: 0 is no, everything else yes
  REQUEST_TEXT = 5,       ///< a string
  REQUEST_POINT = 6,      ///< three numbers: x, y, z
  REQUEST_DIRECTION = 7,  ///< the same; its length does not matter
  REQUEST_SPACINGS = 8,   ///< a number, an array of numbers, or an array of arrays of numbers
  REQUEST_SEGMENTS = 9,   ///< an array of arrays of points
  REQUEST_OBJECT = 10,    ///< an object, whose keys have rows of their own
};

/// What a value has to be besides its kind.
enum RequestRule : int {
  REQUEST_ANY = 0,
  REQUEST_POSITIVE = 1,     ///< above 0, or the request is refused
  REQUEST_IF_POSITIVE = 2,  ///< above 0, or it counts as absent
  REQUEST_NOT_ZERO = 3,     ///< a direction that has a length, or the request is refused
};

/// Which keys a key belongs with.
enum RequestGroup : int {
  REQUEST_OWN = 0,     ///< those of the type
  REQUEST_COMMON = 1,  ///< those that nearly every type has
  REQUEST_SEARCH = 2,  ///< those of the search
};

/// One key that a feature type reads from its request.
struct LIBMFX_EXPORT RequestKey {
  std::string key;
  int place = REQUEST_ROOT;
  int kind = REQUEST_NUMBER;
  int rule = REQUEST_ANY;
  int group = REQUEST_OWN;
  bool required = false;  ///< a request without it is refused
  std::string unit;       ///< "m", "rad", "quality", or empty
  std::string meaning;    ///< text for people
  /// What holds where an optional key is absent: of a number or a count, of a switch (0 or 1), and
  /// of a point or a direction. An absent text is empty.
  double default_number = 0.0;
  data_structures::PointXYZW default_point;
};

}  // namespace libmfx::win32_support
