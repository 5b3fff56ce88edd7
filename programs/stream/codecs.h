// Decoders and encoders for several pipelines: the processor's own where it has them, else
// programs.
#pragma once

#include "stream/kinds.h"

namespace stream {

// Decodes H.264 without holding pictures back, whatever errors it has. One that is too slow passes
// over pictures up to a key frame.
Words h264_decoder(const Surroundings& surroundings);

// From any raw picture to H.264 in byte stream, an access unit a buffer: no B frames, a key frame a
// second with parameter sets before it.
Words h264_encoder(int bits_per_second, const Surroundings& surroundings);

// Before what may be too slow: passes over old pictures, so that those it takes are new.
inline constexpr const char* newest_pictures = "queue leaky=downstream max-size-buffers=2 !";

// From any raw sound to AAC in ADTS, a frame a buffer.
Words aac_encoder(int bits_per_second);

} // namespace stream
