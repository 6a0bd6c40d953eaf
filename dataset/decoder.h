// Faults in streams, as they are told to the callback of the calling thread.
#ifndef ORVKIT_DATASET_DECODER_H
#define ORVKIT_DATASET_DECODER_H

#include "orvkit/elemlist.h"

namespace orvkit {

// Tells a fault that was found outside of the decoder.
void tellElemFault(const DcElemFault& fault);

}  // namespace orvkit

#endif
