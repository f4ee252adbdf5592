#include "structure_ingest/base/descriptor.hpp"

#include <unistd.h>

namespace structure_ingest::internal {

Descriptor::~Descriptor() {
  if (is_open()) close(number_);
}

}  // namespace structure_ingest::internal
