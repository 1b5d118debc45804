// zelutil: each subsystem of libzelutil, at the command line.
#include <iostream>

#include "commands.h"

int main(int argc, char** argv) {
  CLI::App app{"zelutil - the libzelutil foundation library at the command line"};
  app.require_subcommand(1);
  // In the order of the library's subsystems.
  zelutil::add_strings_commands(app);
  zelutil::add_errors_commands(app);
  zelutil::add_ids_commands(app);
  zelutil::add_selector_commands(app);
  zelutil::add_xmltag_commands(app);
  zelutil::add_files_commands(app);
  zelutil::add_credentials_commands(app);
  zelutil::add_arm_commands(app);
  zelutil::add_version_commands(app);

  try {
    app.parse(argc, argv);
  } catch (const CLI::CallForHelp& e) {
    return app.exit(e);
  } catch (const CLI::CallForAllHelp& e) {
    return app.exit(e);
  } catch (const CLI::ParseError& e) {
    std::cerr << "zelutil: " << e.what() << "\nRun 'zelutil --help' for usage.\n";
    return zelutil::kExitUsage;
  } catch (const zelutil::ExactCommandError& e) {
    std::cerr << e.what() << '\n';
    return zelutil::kExitFailure;
  } catch (const zelutil::CommandError& e) {
    std::cerr << "zelutil: " << e.what() << '\n';
    return zelutil::kExitFailure;
  }
  return zelutil::kExitOk;
}
