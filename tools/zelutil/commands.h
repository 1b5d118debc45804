// Subcommands of the zelutil tool. Each subsystem of the library has one source
// file here that adds its subcommands to the application.
#ifndef ZEL_TOOLS_ZELUTIL_COMMANDS_H_
#define ZEL_TOOLS_ZELUTIL_COMMANDS_H_

#include <CLI/CLI.hpp>
#include <stdexcept>
#include <string>

namespace zelutil {

// Exit codes of the tool.
enum ExitCode : int {
  kExitOk = 0,
  kExitFailure = 1,  // the command could not do its work (bad data, unknown name, I/O)
  kExitUsage = 2,    // the command line itself is wrong
};

// Thrown by a command that cannot do its work: main prints the text on standard
// error and exits with kExitFailure.
class CommandError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

// A CommandError whose text is complete as it stands, such as a library message
// that scripts compare exactly: main prints it without the tool's prefix.
class ExactCommandError : public CommandError {
 public:
  using CommandError::CommandError;
};

void add_strings_commands(CLI::App& app);
void add_errors_commands(CLI::App& app);
void add_ids_commands(CLI::App& app);
void add_selector_commands(CLI::App& app);
void add_xmltag_commands(CLI::App& app);
void add_files_commands(CLI::App& app);
void add_credentials_commands(CLI::App& app);
void add_arm_commands(CLI::App& app);
void add_version_commands(CLI::App& app);

}  // namespace zelutil

#endif  // ZEL_TOOLS_ZELUTIL_COMMANDS_H_
