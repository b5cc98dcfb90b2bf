#pragma once
// alsa-lib prints its own error lines to standard error by default ("ALSA lib pcm.c: Unknown
// PCM default" on every probe of a machine without a sound card). Tavro reports the failures
// that matter itself, with the call that failed; alsa-lib's own lines go to the debug log.

// Installs the handler once per process; every piece of media/alsa calls it before its first
// alsa-lib call.
void routeAlsaErrorsToLog();
