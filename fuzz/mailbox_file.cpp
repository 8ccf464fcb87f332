// A mailbox file that is nearly right: it is refused with a reason, or what was read is written and read again as it is.

#include <windows.h>

#include "fuzz/fuzz.h"
#include "mailbox/CFileText.h"
#include "mailbox/file_reader.h"
#include "mailbox/file_writer.h"

namespace fuzz {
namespace {

std::string Format(const mailbox::CDatabase& database) {
    std::string text;
    mailbox::FormatMailbox(database, [&](std::string_view piece) { return text.append(piece), true; });
    return text;
}

}  // namespace

void MailboxFile(const TCorpus& corpus, CChoices& choices) {
    const std::string text = Damaged(choices.Of(corpus), corpus, choices);
    mailbox::CDatabase database, again;
    std::wstring why;
    // Small pieces, so that everything crosses the border of two.
    const size_t piece = choices.OneIn(3) ? size_t{1} << 18 : 16 + choices.Below(60);
    if (!mailbox::ReadMailbox(std::make_shared<mailbox::CFileText>(text), database, why, piece))
        return Require(!why.empty(), "refused without a reason", text);
    const std::string written = Format(database);
    Require(mailbox::ReadMailbox(std::make_shared<mailbox::CFileText>(written), again, why),
            "what was written cannot be read", text + "\n" + written);
    Require(Format(again) == written, "what was written is read as something else", text + "\n" + written);
}

}  // namespace fuzz
