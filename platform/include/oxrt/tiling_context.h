/// \file
/// What a tuner knows about an operator's tiling; only its address is handed on.
#ifndef OXRT_TILING_CONTEXT_H
#define OXRT_TILING_CONTEXT_H

namespace oxrt {

class TilingContext;

}  // namespace oxrt

#endif  // OXRT_TILING_CONTEXT_H
