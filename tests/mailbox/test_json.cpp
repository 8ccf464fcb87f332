// The scanner of the mailbox file against another reader of JSON, over texts that are nearly right.

#include <nlohmann/json.hpp>
#include <random>

#include "mailbox/CJsonScanner.h"
#include "mailbox/text.h"
#include "tests/support/MailboxFixture.h"

namespace {

/// What the other reader says, one line a token.
struct Expected : nlohmann::json_sax<nlohmann::json> {
    std::string lines;
    bool Add(const std::string& line) { return lines += line + "\n", true; }
    bool null() override { return Add("null"); }
    bool boolean(bool value) override { return Add(value ? "true" : "false"); }
    bool number_integer(number_integer_t value) override { return Add("i" + std::to_string(value)); }
    bool number_unsigned(number_unsigned_t value) override { return Add("u" + std::to_string(value)); }
    bool number_float(number_float_t value, const string_t&) override {
        return Add("f" + std::to_string(value));
    }
    bool string(string_t& value) override { return Add("\"" + mailbox::ToHex(value)); }
    bool binary(binary_t&) override { return false; }
    bool start_object(std::size_t) override { return Add("{"); }
    bool key(string_t& name) override { return Add(mailbox::ToHex(name) + ":"); }
    bool end_object() override { return Add("}"); }
    bool start_array(std::size_t) override { return Add("["); }
    bool end_array() override { return Add("]"); }
    bool parse_error(std::size_t, const std::string&, const nlohmann::json::exception&) override {
        return Add("bad"), false;
    }
};

std::string LineOf(const mailbox::TScalar& value) {
    using mailbox::TScalar;
    switch (value.kind) {
        case TScalar::EKind::Text:
            return "\"" + mailbox::ToHex(value.text);
        case TScalar::EKind::Signed:
            return "i" + std::to_string(value.number);
        case TScalar::EKind::Unsigned:
            return "u" + std::to_string(value.unsignedNumber);
        case TScalar::EKind::Float:
            return "f" + std::to_string(value.real);
        default:
            return value.boolean ? "true" : "false";
    }
}

/// A text that stayed in the file, as its bytes.
std::string LineOf(const mailbox::TPlace& place, size_t size) {
    std::string bytes(size, '\0');
    EXPECT_TRUE(place.Load(bytes.data(), size));
    if (place.form == mailbox::TPlace::EForm::Base64) {
        std::string apart(size, '\0');
        for (size_t at = 0; at < size; at += 100)
            EXPECT_TRUE(place.LoadBinary(at, apart.data() + at, std::min<size_t>(100, size - at)));
        EXPECT_EQ(apart, bytes) << "in pieces as in one";
        bytes = mailbox::ToBase64(bytes);
    }
    return "\"" + mailbox::ToHex(bytes);
}

std::string Scan(const std::string& text, size_t piece, mailbox::CJsonScanner::EStay stay) {
    using Scanner = mailbox::CJsonScanner;
    mailbox::CFileText file(text);
    Scanner scanner(file, piece);
    static const char* const marks[] = {"{", "}", "[", "]"};
    std::string lines;
    for (;;) {
        scanner.MayStay(stay);
        const Scanner::EToken token = scanner.Next();
        if (token == Scanner::EToken::End) return lines;
        if (token <= Scanner::EToken::ListEnd)
            lines += marks[static_cast<size_t>(token)];
        else if (token == Scanner::EToken::Key)
            lines += mailbox::ToHex(scanner.Key()) + ":";
        else if (token == Scanner::EToken::Value)
            lines += LineOf(scanner.Value());
        else if (token == Scanner::EToken::Place)
            lines += LineOf(*scanner.StayedAt(), static_cast<size_t>(scanner.StayedSize()));
        else
            lines += token == Scanner::EToken::Null ? "null" : "bad";
        lines += "\n";
        if (token == Scanner::EToken::Bad) return lines;
    }
}

TEST(Json, IsReadAsByAnotherReader) {
    const std::string longText(300, 'x'), base64 = mailbox::ToBase64(std::string(700, '\x5A') + "!");
    const std::string whole =
        "{\"a\" : [1, -2, 0, -0, 18446744073709551615, 18446744073709551616, -9223372036854775809, 1.5e3, "
        "2E-2, "
        "1e999, 0.1],\r\n\t\"\\u00e4\\ud83d\\ude00\\/\\\\\\\"\\b\\f\\n\\r\\t\": [true, false, null, {}, [], "
        "\"\"],"
        "\"\xC3\xA4\xE2\x82\xAC\xF0\x9F\x98\x80\": \"" +
        longText + "\\n\xE2\x82\xAC\\u0000" + longText + "\", \"b\": \"" + base64 + "\", \"c\": \"" +
        longText + "\"}";
    std::string right = whole;
    right.replace(right.find("1e999"), 5, "1e9");
    static const char bytes[] = "\"\\{}[],:0-1.eEu \n\x01\x7F\x80\xC3\xED\xA0tfn=/dD8";
    std::mt19937 random(7);
    int accepted = 0;
    for (int round = 0; round < 20000; ++round) {
        std::string text = round % 4 == 0 ? whole : right;
        for (size_t changes = random() % 3; changes-- > 0 && !text.empty();) {
            const size_t at = random() % text.size();
            const char byte = bytes[random() % (sizeof bytes - 1)];
            switch (random() % 4) {
                case 0:
                    text[at] = byte;
                    break;
                case 1:
                    text.insert(at, 1, byte);
                    break;
                case 2:
                    text.erase(at, 1 + random() % 3);
                    break;
                default:
                    if (random() % 8 == 0) text.resize(at);
            }
        }
        Expected expected;
        const bool isRight = nlohmann::json::sax_parse(text, &expected);
        accepted += isRight;
        // Small pieces, so that everything crosses the border of two.
        const size_t piece = round % 3 == 0 ? 1 << 18 : 16 + random() % 50;
        const auto stay = static_cast<mailbox::CJsonScanner::EStay>(round % 3);
        const std::string lines = Scan(text, piece, stay);
        ASSERT_EQ(isRight, !lines.ends_with("bad\n")) << "round " << round << ", piece " << piece << "\n"
                                                      << text;
        if (isRight) {
            ASSERT_EQ(lines, expected.lines) << "round " << round << ", piece " << piece << "\n" << text;
        }
    }
    EXPECT_GT(accepted, 5000) << "too few texts were right to show anything";
}

TEST(Json, WhatIsNoLongerInTheFileIsAFailureAndNothingElse) {
    mailbox::CFileText text("\"" + std::string(300, 'x') + "\"");
    const struct {
        const char* what;
        mailbox::TPlace place;
        HRESULT failure;
    } cases[] = {
        {"it was saved without it", {&text, mailbox::TPlace::kNowhere, 300}, MAPI_E_OBJECT_DELETED},
        {"behind the end", {&text, 400, 300}, MAPI_E_OBJECT_CHANGED},
        {"far behind the end", {&text, ~0ull - 10, 300}, MAPI_E_OBJECT_CHANGED},
        {"beyond the end", {&text, 100, 300}, MAPI_E_OBJECT_CHANGED},
        {"shorter than it was", {&text, 1, 200}, MAPI_E_OBJECT_CHANGED},
        {"no base64 any more", {&text, 0, 300, mailbox::TPlace::EForm::Base64}, MAPI_E_OBJECT_CHANGED}};
    for (const auto& c : cases) {
        SCOPED_TRACE(c.what);
        std::string bytes(300, '\0');
        EXPECT_FALSE(c.place.Load(bytes.data(), bytes.size()));
        EXPECT_EQ(text.Failure(), c.failure);
    }
}

}  // namespace
