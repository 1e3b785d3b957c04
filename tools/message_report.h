// What `zttsp inspect` prints: any time-stamp message, recognised by its shape, as a Report of
// every field in plain words.
#pragma once

#include "outside/ztlib/blob.h"
#include "tools/report.h"

namespace Zanthorel {
namespace Tools {

// Recognises an RFC 3161 request, response or token, an Authenticode request or an Authenticode
// stamp in `der`. Throws ToolError when it is none of them, naming what was wrong.
Report reportMessage(const CBlob& der);

}  // namespace Tools
}  // namespace Zanthorel
