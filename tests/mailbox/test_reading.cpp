// Reading: values, widths, what is missing or too large, streams, computed properties.

#include <mapitags.h>

#include "store/named_properties.h"
#include "tests/support/MailboxFixture.h"

namespace {

class Reading : public MailboxTest {};

/// The values of tags; what GetProps returned in result.
struct Values {
    MapiBuffer<SPropValue> values;
    ULONG count = 0;
    HRESULT result = S_OK;
    const SPropValue& operator[](size_t index) const { return values.get()[index]; }
};
Values Get(IMAPIProp* object, const std::vector<ULONG>& tags, ULONG flags = 0) {
    std::vector<ULONG> array{static_cast<ULONG>(tags.size())};
    array.insert(array.end(), tags.begin(), tags.end());
    Values got;
    got.result = object->GetProps(reinterpret_cast<SPropTagArray*>(array.data()), flags, &got.count, Out(got.values));
    return got;
}

TEST_F(Reading, GivesTextsInTheWidthAskedFor) {
    TestItem item = Inbox().Item().Subject(L"Grüße").Text8(PR_SENDER_NAME_A, "Ann");
    const ComPtr<IMessage> message = Open(item);
    const Values got = Get(message.Get(), {PR_SUBJECT_W, PR_SUBJECT_A, PR_SENDER_NAME_W, PR_SENDER_NAME_A});
    ASSERT_EQ(got.result, S_OK);
    EXPECT_STREQ(got[0].Value.lpszW, L"Grüße");
    EXPECT_STREQ(got[1].Value.lpszA, "Gr\xFC\xDF" "e");
    EXPECT_STREQ(got[2].Value.lpszW, L"Ann");
    EXPECT_STREQ(got[3].Value.lpszA, "Ann");
}

}  // namespace
