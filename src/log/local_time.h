#pragma once
// UTC and local time of the running system's time zone, under the daylight rules of the converted date
// instead of today's. The zone's present rules are applied to all years.

#include <windows.h>

namespace logging {

/// 1 on success. 0 when a platform conversion fails or the result is no FILETIME: *local is then the input
/// unchanged.
int FileTimeToLocalFileTimeFIX(const FILETIME* utc, FILETIME* local);
/// Inverse of FileTimeToLocalFileTimeFIX: 1 on success, 0 with *utc the input unchanged. A local time that
/// occurs twice, or that the change to daylight time skips, is taken as standard time.
int LocalFileTimeToFileTimeFIX(const FILETIME* local, FILETIME* utc);

}  // namespace logging
