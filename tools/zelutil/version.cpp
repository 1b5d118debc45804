#include "zel/version.h"

#include "commands.h"

namespace zelutil {

void add_version_commands(CLI::App& app) {
  app.add_subcommand("version", "Print the library's version line")->callback([] {
    libzelutil_print_verid();
  });
}

}  // namespace zelutil
