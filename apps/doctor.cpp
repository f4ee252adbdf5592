// What the program finds here: whether it works, and with what.
#include <sys/statfs.h>
#include <unistd.h>

#include <array>
#include <cstdint>
#include <filesystem>
#include <stdexcept>
#include <string_view>
#include <system_error>
#include <utility>

#include "apps/options.hpp"
#include "apps/structure_view.hpp"
#include "apps/terminal.hpp"
#include "collaborators/agent_modules/directory_trust.hpp"
#include "structure_ingest/base/paths.hpp"
#include "structure_ingest/structure_ingest.hpp"

namespace apps {
namespace {

namespace fs = std::filesystem;

/// The name of a kind of file system, by the number that statfs(2) gives.
std::string name_of_kind(std::uint32_t kind) {
  constexpr std::array<std::pair<std::uint32_t, std::string_view>, 20> KINDS = {{
      {0xEF53, "ext2, ext3 or ext4"},
      {0x58465342, "XFS"},
      {0x9123683E, "Btrfs"},
      {0x2FC12FC1, "ZFS"},
      {0xF2F52010, "F2FS"},
      {0x01021994, "tmpfs, in memory"},
      {0x794C7630, "overlay"},
      {0x6969, "NFS"},
      {0x0BD00BD0, "Lustre"},
      {0x47504653, "GPFS"},
      {0x19830326, "BeeGFS"},
      {0x00C36400, "Ceph"},
      {0x5346414F, "AFS"},
      {0xFF534D42, "CIFS"},
      {0xFE534D42, "SMB"},
      {0x65735546, "FUSE"},
      {0x4D44, "FAT"},
      {0x2011BAB0, "exFAT"},
      {0x5346544E, "NTFS"},
      {0x73717368, "SquashFS"},
  }};
  for (const auto& [number, name] : KINDS) {
    if (number == kind) return std::string(name);
  }
  return "of kind " + std::to_string(kind);
}

void print_folder(const std::string& folder) {
  struct statfs system {};
  if (statfs(folder.c_str(), &system) != 0) {
    print_row("folder", folder + ": it cannot be looked at");
    return;
  }
  const bool is_writable = access(folder.c_str(), W_OK) == 0;
  print_row("folder", folder + (is_writable ? "" : ": nothing can be written here"));
  print_row("", "on a file system " + name_of_kind(static_cast<std::uint32_t>(system.f_type)));
}

std::string trust_list() {
  try {
    agent_modules::trust_list();
    return agent_modules::trust_list_path();
  } catch (const std::runtime_error& error) {
    return error.what();
  }
}

Status print_ase() {
  const structure_ingest::AseStatus ase = structure_ingest::ase_status();
  if (!ase.problem.empty()) {
    print_row("ASE", "none, so that CIF and VASP files cannot be read");
    print_row("", ase.problem);
    return NOT_ALL_WELL;
  }
  print_row("ASE", (ase.version.empty() ? "" : ase.version + " ") + "in " + ase.folder);
  print_row("Python", ase.interpreter);
  return ALL_WELL;
}

void print_cache() {
  const structure_ingest::CacheStatus cache = structure_ingest::cache_status();
  print_row("cache", cache.folder.empty() ? "turned off"
                     : cache.is_usable    ? cache.folder
                                          : cache.folder + ": it cannot be used");
}

Status run(const std::string& given) {
  std::error_code error;
  const std::string folder = structure_ingest::internal::absolute_path(given.empty() ? "." : given);
  if (!fs::is_directory(folder, error)) throw WrongInput(given + ": no such folder");
  print_line(std::string("structure-ingest ") + STRUCTURE_INGEST_VERSION);
  const Status status = print_ase();
  print_cache();
  print_row("trust", trust_list());
  print_folder(folder);
  const auto project = structure_ingest::owning_project_root(folder + "/.");
  if (project) print_row("project", *project);
  return status;
}

}  // namespace

Command doctor_command() {
  auto folder = std::make_shared<std::string>();
  Command command{.name = "doctor",
                  .about = "Tell with which ASE, cache and file system the program works here",
                  .examples = {"doctor"},
                  .run = [folder] { return run(*folder); }};
  command.add("--project DIR", folder.get(), "The folder to look at (default: the current one)");
  return command;
}

}  // namespace apps
