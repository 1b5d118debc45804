#include "zel/credentials.h"

#include <iostream>
#include <memory>
#include <string>
#include <vector>

#include "commands.h"
#include "zel/exception.h"

namespace zelutil {
namespace {

struct DumpOptions {
  std::string file;
  bool with_strings = false;
};

struct WriteOptions {
  std::string file;
  std::string user;
  std::string group;
  std::vector<std::string> groups;
};

std::string text(const Zel::UString& s) { return s.utf8_str(); }

Zel::Identity identity(const std::string& text_form) {
  return Zel::Identity::from_str(Zel::UString(Zel::Utf8String(text_form)));
}

void dump(const DumpOptions& options) {
  Zel::Credentials credentials;
  credentials.read_from_file(options.file, options.with_strings);
  std::cout << "user           " << text(credentials.user().str()) << '\n'
            << "primary group  " << text(credentials.primary_group().str()) << '\n'
            << "groups         " << credentials.groups().size() << '\n';
  for (const Zel::Identity& group : credentials.groups()) {
    std::cout << "  " << text(group.str()) << '\n';
  }
  if (options.with_strings) {
    std::cout << "text 1         " << text(credentials.text1()) << '\n'
              << "text 2         " << text(credentials.text2()) << '\n'
              << "text 3         " << text(credentials.text3()) << '\n';
  }
}

void write(const WriteOptions& options) {
  Zel::Credentials credentials;
  credentials.set_user(identity(options.user));
  credentials.set_primary_group(identity(options.group));
  for (const std::string& group : options.groups) credentials.groups().push_back(identity(group));
  credentials.write_to_file(options.file);
}

// The library's failures carry a catalogued message: that is what the user sees.
template <typename Action>
void reporting_failures(Action action) {
  try {
    action();
  } catch (const Zel::QRPException& e) {
    throw CommandError(text(e.message().message_string()));
  }
}

}  // namespace

void add_credentials_commands(CLI::App& app) {
  auto* credentials = app.add_subcommand("credentials", "Read and write credentials files");
  credentials->require_subcommand(1);

  auto dump_options = std::make_shared<DumpOptions>();
  auto* dump_command = credentials->add_subcommand(
      "dump", "Print the user, primary group, groups (and text fields) of a credentials file");
  dump_command->add_option("FILE", dump_options->file, "The credentials file")->required();
  dump_command->add_flag("--with-strings", dump_options->with_strings,
                         "Also read the three text fields after the groups");
  dump_command->callback([dump_options] { reporting_failures([&] { dump(*dump_options); }); });

  auto write_options = std::make_shared<WriteOptions>();
  auto* write_command = credentials->add_subcommand(
      "write", "Write a credentials file; identities in their text form, e.g. 2:010aff");
  write_command->add_option("FILE", write_options->file, "The file to write")->required();
  write_command->add_option("--user", write_options->user, "The user's identity")->required();
  write_command->add_option("--group", write_options->group, "The primary group")->required();
  write_command->add_option("--groups", write_options->groups, "Further groups")->delimiter(',');
  write_command->callback([write_options] { reporting_failures([&] { write(*write_options); }); });
}

}  // namespace zelutil
