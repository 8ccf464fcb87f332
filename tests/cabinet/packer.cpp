// Runs a script of cabinet calls against the shipped library, one result a line on the standard output.
//
//     packer SCRIPT
//
// One command a line, verb and arguments apart by tabs, in the ANSI code page:
//
//     log FILE                 sends the log to FILE
//     temp DIRECTORY           makes it the directory of temporary files
//     attributes FILE NUMBER   gives a file attributes; prints those that it has then
//     create DIRECTORY NAME    prints 1 for a handle, 0 for null
//     add SOURCE NAME          prints 1 for success, 0 for failure
//     flush                    the same
//     delete                   prints nothing

#include <windows.h>

#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <string>
#include <vector>

#include "quorvel.h"

namespace {

std::vector<std::string> Split(const std::string& line) {
    std::vector<std::string> fields;
    size_t start = 0;
    for (size_t tab; (tab = line.find('\t', start)) != std::string::npos; start = tab + 1) {
        fields.push_back(line.substr(start, tab - start));
    }
    fields.push_back(line.substr(start));
    fields.resize(3);
    return fields;
}

HFci handle = nullptr;

// False for a command that is not one.
bool Run(const std::vector<std::string>& command) {
    const std::string& verb = command[0];
    const char* first = command[1].c_str();
    const char* second = command[2].c_str();
    if (verb == "log") {
        Quorvel_ConfigLog(nullptr, first, 0, 1);
    } else if (verb == "temp") {
        _putenv_s("TMP", first);
    } else if (verb == "attributes") {
        SetFileAttributesA(first, strtoul(second, nullptr, 0));
        printf("%lu\n", GetFileAttributesA(first));
    } else if (verb == "create") {
        handle = FCI_Create(first, second);
        printf("%d\n", handle != nullptr);
    } else if (verb == "add") {
        printf("%d\n", FCI_AddFile(handle, first, second) != 0);
    } else if (verb == "flush") {
        printf("%d\n", FCI_FlushCabinet(handle) != 0);
    } else if (verb == "delete") {
        FCI_Delete(handle);
        handle = nullptr;
    } else {
        return false;
    }
    return true;
}

}  // namespace

int main(int argc, char** argv) {
    if (argc != 2) return 2;
    std::ifstream script(argv[1], std::ios::binary);
    for (std::string line; std::getline(script, line);) {
        if (!Run(Split(line))) {
            printf("bad command: %s\n", line.c_str());
            return 2;
        }
    }
    return script.eof() ? 0 : 2;
}
