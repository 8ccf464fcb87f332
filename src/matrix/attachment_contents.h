#pragma once
// Whether two attachments hold the same.

#include "store/resources.h"

namespace matrix {

/// Compares two attachments of the same method: by value the bytes of their data, embedded items by subject
/// and body, references by the path without regard to case. What cannot be read is not equal, with an
/// Error line under routine; any other method is not either.
bool SameContents(const char* routine, IAttach* attachment1, IAttach* attachment2, long method);

}  // namespace matrix
