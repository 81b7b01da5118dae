#pragma once

#include <stdexcept>

namespace talvo::dictgen {

// A source that the build cannot do without is missing or unreadable. The
// message is complete and meant for the user: it names the file and, for the
// packaged sources, the Debian package that provides it.
class SourceError : public std::runtime_error {
  public:
    using std::runtime_error::runtime_error;
};

}  // namespace talvo::dictgen
