#include "host/property_catalogue.h"

#include <windows.h>
#include <mapix.h>
#include <mapitags.h>

#include "host/text.h"

namespace host {

namespace {

constexpr char kDerived[] = "{7A3C5E19-4B82-4D6F-9E15-3F8A2C6B7D40}";
constexpr char kAppointment[] = "{00062002-0000-0000-C000-000000000046}";
constexpr char kTask[] = "{00062003-0000-0000-C000-000000000046}";
constexpr char kAddress[] = "{00062004-0000-0000-C000-000000000046}";
constexpr char kJournal[] = "{0006200A-0000-0000-C000-000000000046}";
constexpr char kPublic[] = "{00020329-0000-0000-C000-000000000046}";

#define KEY(text) text, L##text
constexpr TCatalogueEntry Plain(const char* key, const wchar_t* keyW, const wchar_t* name, unsigned tag) {
    return {key, keyW, name, tag, nullptr, 0, nullptr, PROP_TYPE(tag), false};
}
constexpr TCatalogueEntry Stream(const char* key, const wchar_t* keyW, const wchar_t* name, unsigned tag) {
    return {key, keyW, name, tag, nullptr, 0, nullptr, PROP_TYPE(tag), true};
}
constexpr TCatalogueEntry Named(const char* key, const wchar_t* keyW, const wchar_t* name, const char* set,
                                int id, unsigned type) {
    return {key, keyW, name, 0, set, id, nullptr, type, false};
}
constexpr TCatalogueEntry NamedText(const char* key, const wchar_t* keyW, const wchar_t* name,
                                    const char* set, const wchar_t* stringId, unsigned type) {
    return {key, keyW, name, 0, set, 0, stringId, type, false};
}

constexpr TCatalogueEntry kCatalogue[] = {
    Plain(KEY("Mail.Subject"), L"Subject", PR_SUBJECT_W),
    Plain(KEY("Mail.Topic"), L"Conversation topic", PR_CONVERSATION_TOPIC_W),
    Plain(KEY("Mail.FromName"), L"From (name)", PR_SENT_REPRESENTING_NAME_W),
    Plain(KEY("Mail.FromAddress"), L"From (address)", PR_SENT_REPRESENTING_EMAIL_ADDRESS_W),
    Plain(KEY("Mail.SenderName"), L"Sender (name)", PR_SENDER_NAME_W),
    Plain(KEY("Mail.SenderAddress"), L"Sender (address)", PR_SENDER_EMAIL_ADDRESS_W),
    Named(KEY("Mail.Senders"), L"Senders", kDerived, 5, PT_MV_UNICODE),
    Named(KEY("Mail.Recipients"), L"Recipients", kDerived, 6, PT_BINARY),
    Plain(KEY("Mail.SentTime"), L"Sent", PR_CLIENT_SUBMIT_TIME),
    Plain(KEY("Mail.ReceivedTime"), L"Received", PR_MESSAGE_DELIVERY_TIME),
    Plain(KEY("Mail.InternetMessageId"), L"Message id", PROP_TAG(PT_UNICODE, 0x1035)),
    Plain(KEY("Mail.Size"), L"Size of subject, body and attachments", PR_MESSAGE_SIZE),
    Plain(KEY("Mail.HasAttachments"), L"Has attachments", PR_HASATTACH),
    Plain(KEY("Mail.MessageClass"), L"Message class", PR_MESSAGE_CLASS_W),
    Plain(KEY("Mail.Importance"), L"Importance", PR_IMPORTANCE),
    Stream(KEY("Mail.Body"), L"Body", PR_BODY_W),

    Plain(KEY("Contact.FirstName"), L"First name", PR_GIVEN_NAME_W),
    Plain(KEY("Contact.MiddleName"), L"Middle name", PR_MIDDLE_NAME_W),
    Plain(KEY("Contact.LastName"), L"Last name", PR_SURNAME_W),
    Plain(KEY("Contact.Title"), L"Title", PR_DISPLAY_NAME_PREFIX_W),
    Plain(KEY("Contact.Suffix"), L"Suffix", PR_GENERATION_W),
    Plain(KEY("Contact.FullName"), L"Full name", PR_DISPLAY_NAME_W),
    Plain(KEY("Contact.Nickname"), L"Nickname", PR_NICKNAME_W),
    Plain(KEY("Contact.Company"), L"Company", PR_COMPANY_NAME_W),
    Plain(KEY("Contact.Department"), L"Department", PR_DEPARTMENT_NAME_W),
    Plain(KEY("Contact.JobTitle"), L"Job title", PR_TITLE_W),
    Plain(KEY("Contact.Birthday"), L"Birthday", PR_BIRTHDAY),
    Plain(KEY("Contact.Anniversary"), L"Anniversary", PR_WEDDING_ANNIVERSARY),
    Plain(KEY("Contact.MobilePhone"), L"Mobile phone", PR_MOBILE_TELEPHONE_NUMBER_W),
    Plain(KEY("Contact.HomePhone"), L"Home phone", PR_HOME_TELEPHONE_NUMBER_W),
    Plain(KEY("Contact.BusinessPhone"), L"Business phone", PR_BUSINESS_TELEPHONE_NUMBER_W),
    Named(KEY("Contact.FileAs"), L"File as", kAddress, 0x8005, PT_UNICODE),
    Named(KEY("Contact.Email1"), L"E-mail", kAddress, 0x8083, PT_UNICODE),
    Named(KEY("Contact.Email2"), L"E-mail 2", kAddress, 0x8093, PT_UNICODE),
    Named(KEY("Contact.Email3"), L"E-mail 3", kAddress, 0x80A3, PT_UNICODE),
    Named(KEY("Contact.WebPage"), L"Web page", kAddress, 0x802B, PT_UNICODE),
    Named(KEY("Contact.AnyAddress"), L"Any address", kDerived, 1, PT_MV_UNICODE),
    Named(KEY("Contact.AnyEmail"), L"Any e-mail", kDerived, 2, PT_MV_UNICODE),
    Named(KEY("Contact.AnyPhone"), L"Any phone", kDerived, 3, PT_MV_UNICODE),
    Named(KEY("Contact.CompanyContact"), L"Company contact", kDerived, 4, PT_BOOLEAN),
    Stream(KEY("Contact.Notes"), L"Notes", PR_BODY_W),

    Plain(KEY("Appointment.Subject"), L"Subject", PR_SUBJECT_W),
    Named(KEY("Appointment.Start"), L"Start", kAppointment, 0x820D, PT_SYSTIME),
    Named(KEY("Appointment.End"), L"End", kAppointment, 0x820E, PT_SYSTIME),
    Named(KEY("Appointment.Duration"), L"Duration in minutes", kAppointment, 0x8213, PT_LONG),
    Named(KEY("Appointment.AllDayEvent"), L"All-day flag", kAppointment, 0x8215, PT_BOOLEAN),
    Named(KEY("Appointment.AllDayEventLike"), L"Whole days", kAppointment, 0x8215, PT_BOOLEAN),
    Named(KEY("Appointment.IsRecurring"), L"Recurring", kAppointment, 0x8223, PT_BOOLEAN),
    Named(KEY("Appointment.RecurrencePattern"), L"Recurrence", kAppointment, 0x8232, PT_UNICODE),
    Named(KEY("Appointment.Location"), L"Location", kAppointment, 0x8208, PT_UNICODE),
    Stream(KEY("Appointment.Body"), L"Body", PR_BODY_W),

    Plain(KEY("Task.Subject"), L"Subject", PR_SUBJECT_W),
    Named(KEY("Task.StartDate"), L"Start date", kTask, 0x8104, PT_SYSTIME),
    Named(KEY("Task.DueDate"), L"Due date", kTask, 0x8105, PT_SYSTIME),
    Named(KEY("Task.DateCompleted"), L"Completed on", kTask, 0x810F, PT_SYSTIME),
    Named(KEY("Task.Complete"), L"Complete", kTask, 0x811C, PT_BOOLEAN),
    Named(KEY("Task.Status"), L"Status", kTask, 0x8101, PT_LONG),
    Named(KEY("Task.PercentComplete"), L"Part complete", kTask, 0x8102, PT_DOUBLE),
    Stream(KEY("Task.Body"), L"Body", PR_BODY_W),

    Plain(KEY("Journal.Subject"), L"Subject", PR_SUBJECT_W),
    Named(KEY("Journal.Type"), L"Entry type", kJournal, 0x8700, PT_UNICODE),
    Named(KEY("Journal.Start"), L"Start", kJournal, 0x8706, PT_SYSTIME),
    Named(KEY("Journal.Duration"), L"Duration in minutes", kJournal, 0x8707, PT_LONG),
    Stream(KEY("Journal.Body"), L"Body", PR_BODY_W),

    NamedText(KEY("Categories"), L"Categories", kPublic, L"Keywords", PT_MV_UNICODE),
};
#undef KEY

}  // namespace

std::span<const TCatalogueEntry> Catalogue() {
    return kCatalogue;
}

const TCatalogueEntry* FindProperty(const std::string& key) {
    for (const TCatalogueEntry& entry : kCatalogue) {
        if (EqualNoCase(key, entry.key)) return &entry;
    }
    return nullptr;
}

}  // namespace host
