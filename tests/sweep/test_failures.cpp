// Every store-access export with each of its calls failing in turn: the result, the outputs, the log lines word for
// word, as failures.txt has them. The lists there are also the calls in their order: what an export asks for in an
// undisturbed run is exactly that.

#include <algorithm>
#include <fstream>
#include <sstream>

#include "tests/support/CapturedLog.h"
#include "tests/sweep/SweepTest.h"
#include "tests/sweep/store_scenarios.h"

using enum logging::ESeverity;

namespace {

class Failures : public SweepTest {
  protected:
    static std::string Readable(std::string text, const TScene& scene) {
        const std::pair<std::string, const char*> named[] = {
            {"0x8007000e", "E"},
            {"-2147024882", "E"},
            {scene.itemId, "{item}"},
            {scene.folderId, "{folder}"},
            {scene.storeId, "{store}"},
            {scene.otherFolderId, "{otherFolder}"},
            {scene.otherStoreId, "{otherStore}"},
            {scene.contactId, "{contact}"},
        };
        for (const auto& [plain, shown] : named) {
            for (size_t at; (at = text.find(plain)) != std::string::npos;)
                text.replace(at, plain.size(), shown);
        }
        return text;
    }

    /// What one run gives.
    static std::string Run(const TStoreOperation& operation, TScene& scene) {
        CapturedLog log;
        std::string outputs;
        std::ostringstream text;
        const HRESULT hr = operation.run(scene, outputs);
        text << std::hex << "0x" << static_cast<ULONG>(hr) << outputs;
        const LogLines lines = log.Lines();
        for (const LogLine& line : lines) {
            text << (&line == lines.data() ? " | " : "\n    | ")
                 << (line.severity == sevInfo ? "(info) " : "");
            if (line.tag != operation.name) text << "[" << line.tag << "] ";
            text << (line.text.ends_with('\n') ? line.text.substr(0, line.text.size() - 1)
                                               : line.text + " (no end)");
        }
        return Readable(text.str(), scene);
    }
};

TEST_F(Failures, OfEachCallAreReported) {
    const TestFolder otherFolder = AddStore(L"Archive").Root().Folder(L"Old");
    Session();
    std::ifstream expected(QUORVEL_FAILURES);
    std::string line;
    while (expected.peek() == '#') std::getline(expected, line);
    for (const TStoreOperation& operation : StoreOperations()) {
        std::string found, row;
        std::vector<std::string> calls;
        for (unsigned nth = 0; nth <= calls.size(); ++nth) {
            TScene scene = MakeScene(*this, otherFolder);
            mailbox::calls::Record();
            if (nth) mailbox::calls::FailNth(nth, MAPI_E_NOT_ENOUGH_MEMORY);
            const std::string given = Run(operation, scene);
            // One call gives no result that could say so.
            EXPECT_TRUE(mailbox::calls::Struck() || nth == 0 || calls[nth - 1] == "MAPIUninitialize");
            if (nth == 0) calls = mailbox::calls::Recorded();
            const std::string former = row;
            row = (nth ? "  " + calls[nth - 1] : operation.name) + ": " + given + "\n";
            if (row != former)
                found += row;
            else if (!found.ends_with(" ...\n"))
                found.replace(found.size() - 1, 1, " ...\n");
            mailbox::calls::Reset();
        }
        std::string wanted;
        for (auto lines = std::count(found.begin(), found.end(), '\n'); lines > 0; --lines) {
            std::getline(expected, line);
            wanted += line + "\n";
        }
        EXPECT_EQ(found, wanted);
    }
}

}  // namespace
