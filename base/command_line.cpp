#include "base/command_line.h"

#include <exception>
#include <iostream>
#include <memory>

#include "base/glib_ptr.h"

void readOptions(const char* summary, std::span<const GOptionEntry> entries,
                 const std::vector<std::string>& arguments) {
  const std::unique_ptr<GOptionContext, GDeleter<g_option_context_free>> context(
      g_option_context_new(nullptr));
  g_option_context_set_summary(context.get(), summary);
  g_option_context_add_main_entries(context.get(), entries.data(), nullptr);

  char** argv = g_new0(char*, arguments.size() + 1);
  for (std::size_t i = 0; i < arguments.size(); ++i) {
    argv[i] = g_strdup(arguments[i].c_str());
  }
  ErrorSlot error;
  const bool isRead = g_option_context_parse_strv(context.get(), &argv, error.out()) != FALSE;
  const std::unique_ptr<char*, GDeleter<g_strfreev>> rest(argv);
  if (!isRead) {
    throw OptionError(error.message());
  }
  if (g_strv_length(argv) > 1) {
    throw OptionError(std::string("Not an option: ") + argv[1]);
  }
}

int runProgram(const std::function<int()>& run) {
  constexpr int FAILED = 1;
  constexpr int USAGE = 2;
  try {
    return run();
  } catch (const OptionError& error) {
    std::cerr << error.what() << '\n';
    return USAGE;
  } catch (const std::exception& error) {
    std::cerr << error.what() << '\n';
    return FAILED;
  }
}
