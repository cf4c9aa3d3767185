// make_pages: writes the manual pages and the completions of the programs, from their command lines
// and docs/tools.md. It runs while the project is built. usage: make_pages DOCS/tools.md FOLDER

#include <exception>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <stdexcept>

#include "tools/bake/options.h"
#include "tools/farm/options.h"
#include "tools/pages/completions.h"
#include "tools/pages/man_page.h"
#include "tools/pages/tool_doc.h"
#include "tools/ptc/command_line.h"
#include "tools/render/options.h"

namespace {

void Write(const std::filesystem::path& path, const std::string& text) {
    std::filesystem::create_directories(path.parent_path());
    std::ofstream file(path, std::ios::binary);
    file << text;
    file.close();
    if (!file) throw std::runtime_error(path.string() + ": cannot be written");
}

void WritePage(const pages::Command& program, const pages::Command& command,
               const std::map<std::string, pages::Section>& doc,
               const std::filesystem::path& folder) {
    const auto found = doc.find(command.Name());
    if (found == doc.end() || found->second.empty())
        throw std::runtime_error("no section is about " + command.Name());
    CheckOptions(found->second, program);
    Write(folder / "man1" / (command.Name("-") + ".1"),
          ManPage(program, command, found->second, TOOLS_VERSION));
}

void WriteAll(const pages::Command& program, const std::map<std::string, pages::Section>& doc,
              const std::filesystem::path& folder) {
    const std::string name = program.Name();
    WritePage(program, program, doc, folder);
    for (const pages::Command& command : program.commands) WritePage(program, command, doc, folder);
    Write(folder / "bash" / name, BashCompletion(program));
    Write(folder / "zsh" / ("_" + name), ZshCompletion(program));
    Write(folder / "fish" / (name + ".fish"), FishCompletion(program));
}

}  // namespace

int main(int argc, char** argv) {
    if (argc != 3) {
        std::cerr << "usage: make_pages DOCS/tools.md FOLDER\n";
        return 2;
    }
    try {
        const auto doc = pages::ReadToolDoc(argv[1]);
        int status = 0;
        WriteAll(pages::Describe(MakeCommandLine(&status).get()), doc, argv[2]);
        bake::Options options;
        WriteAll(pages::Describe(bake::MakeCommandLine(&options).get()), doc, argv[2]);
        render::Options render_options;
        WriteAll(pages::Describe(render::MakeCommandLine(&render_options).get()), doc, argv[2]);
        farm::Options farm_options;
        WriteAll(pages::Describe(farm::MakeCommandLine(&farm_options).get()), doc, argv[2]);
    } catch (const std::exception& fault) {
        std::cerr << "make_pages: " << fault.what() << '\n';
        return 1;
    }
    return 0;
}
