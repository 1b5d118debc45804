// zelutil: each subsystem of libzelutil, at the command line.
#include <exception>
#include <iostream>

#include "commands.h"
#include "zel/qrpexception.h"

namespace {

int run(int argc, char** argv) {
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

}  // namespace

// A failure no command turned into a CommandError is still reported and ends
// with kExitFailure, never with an abort.
int main(int argc, char** argv) {
  try {
    return run(argc, argv);
  } catch (const Zel::QRPException& e) {
    std::cerr << "zelutil: " << e.message().message_string().utf8_str() << '\n';
  } catch (const std::exception& e) {
    std::cerr << "zelutil: " << e.what() << '\n';
  } catch (...) {
    std::cerr << "zelutil: unexpected failure\n";
  }
  return zelutil::kExitFailure;
}
