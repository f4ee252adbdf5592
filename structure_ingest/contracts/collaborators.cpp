#include "structure_ingest/contracts/collaborators.hpp"

#include <stdexcept>

namespace structure_ingest {

Collaborators::Collaborators(AtomicWriteJson write_json)
    : atomic_write_json(std::move(write_json)) {
  if (!atomic_write_json) throw std::invalid_argument("atomic_write_json must be given");
}

}  // namespace structure_ingest
