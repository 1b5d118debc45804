#include <cstdlib>
#include <iostream>
#include <memory>
#include <string>
#include <vector>

#include "commands.h"
#include "zel/umessage.h"

namespace zelutil {
namespace {

// The number of texts the catalogue's header announces ("zelutil 21").
int catalogue_size() {
  return static_cast<int>(std::strtol(std::string(Zel::zelutil[0]).substr(8).c_str(), nullptr, 10));
}

void list_messages() {
  const int count = catalogue_size();
  for (int n = 1; n <= count; ++n) std::cout << n << '\t' << Zel::zelutil[n] << '\n';
}

void print_message(int number, const std::vector<std::string>& texts) {
  const int count = catalogue_size();
  if (number < 1 || number > count) {
    throw CommandError("there is no message " + std::to_string(number) +
                       " in the catalogue (1 to " + std::to_string(count) + ")");
  }
  std::vector<Zel::UMessage::Arg> args;
  args.reserve(texts.size());
  for (const std::string& text : texts) args.emplace_back(Zel::UString(Zel::Utf8String(text)));
  std::vector<const Zel::UMessage::Arg*> pointers;
  pointers.reserve(args.size());
  for (const auto& arg : args) pointers.push_back(&arg);
  std::cout << Zel::UMessage::sprintf(Zel::zelutil, number, pointers, nullptr).utf8_str() << '\n';
}

}  // namespace

void add_errors_commands(CLI::App& app) {
  app.add_subcommand("messages", "List the library's message catalogue")->callback(list_messages);

  auto* message = app.add_subcommand(
      "message", "Print catalogue message N formatted with the given text arguments");
  auto number = std::make_shared<int>(0);
  auto texts = std::make_shared<std::vector<std::string>>();
  message->add_option("N", *number, "Message number")->required();
  message->add_option("ARG", *texts, "Text arguments, in order");
  message->callback([number, texts] { print_message(*number, *texts); });
}

}  // namespace zelutil
