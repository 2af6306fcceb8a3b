// zxvu: the command-line tool of the library. Subcommands by family; see
// `zxvu --help`. Exit status 0 on success, 1 on a refused input, 2 on a
// usage error.
#include <CLI/CLI.hpp>

#include "tools/zxvu/cli_common.h"

int main(int argc, char** argv) {
  using namespace zxv::zxvu;

  CLI::App app{"zxvu: inspect and exercise the zxvxzu library from the command line", "zxvu"};
  app.require_subcommand(1);
  app.footer("Exit status: 0 success, 1 input refused by the library, 2 usage error.");

  Action action;
  add_names_commands(app, action);
  add_topic_commands(app, action);
  add_pcf_commands(app, action);
  add_convert_command(app, action);
  add_props_commands(app, action);
  add_demo_command(app, action);

  try {
    app.parse(argc, argv);
  } catch (const CLI::ParseError& e) {
    // Prints help (status 0) or the error; every parse error is a usage error.
    return app.exit(e) == 0 ? kExitOk : kExitUsage;
  }
  if (!action) return usage_error("no command given");
  return action();
}
