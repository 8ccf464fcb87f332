// Exports that read property values and resolve named properties.

#include "frame/trace.h"
#include "quorvel.h"
#include "store/named_properties.h"
#include "store/one_mvalue.h"
#include "store/properties.h"
#include "store/streams.h"

using frame::Trace;

HRESULT Quorvel_GetPropValue(IMAPIProp* object, long tag, SPropValue** value) {
    return store::GetPropValue(object, static_cast<ULONG>(tag), value);
}

HRESULT Quorvel_GetPropValues(IMAPIProp* object, SPropTagArray* tags, unsigned long* count,
                              SPropValue** values) {
    Trace(__func__);
    return store::GetPropValues(object, tags, count, values);
}

HRESULT Quorvel_GetPropValuesInOneMValue(IMessage* item, SPropTagArray* tags, SPropValue** value) {
    Trace(__func__);
    return store::GetPropValuesInOneMValue(item, tags, value);
}

HRESULT Quorvel_GetStreamPropValue(IMAPIProp* object, long tag, void** buffer, unsigned long* count,
                                   int addTerminator) {
    Trace(__func__);
    return store::GetStreamPropValue(object, static_cast<ULONG>(tag), buffer, count, addTerminator);
}

HRESULT Quorvel_StreamPropSize(IMAPIProp* object, unsigned long tag, unsigned long* size) {
    Trace(__func__);
    return store::StreamPropSize(object, tag, size);
}

HRESULT Quorvel_StreamPropEmpty(IMessage* item, unsigned long tag, int* empty, unsigned long* size) {
    Trace(__func__);
    return store::StreamPropEmpty(item, tag, empty, size);
}

HRESULT Quorvel_GetSubjectSize(IMessage* item, int wide, unsigned long* size, SPropValue* values,
                               unsigned long count) {
    Trace(__func__);
    return store::GetSubjectSize(item, wide, size, values, count);
}

unsigned long Quorvel_GetSubjectBodyAttachmentsSize(IMessage* item, int wide, SPropValue* values,
                                                    unsigned long count) {
    Trace(__func__);
    return store::GetSubjectBodyAttachmentsSize(item, wide, values, count);
}

HRESULT Quorvel_GetIDFromName(IMessage* item, MAPINAMEID* name, unsigned long* tag) {
    Trace(__func__);
    return store::GetIDFromName(item, name, tag);
}

unsigned long Quorvel_GetIDFromName2(IMessage* item, const char* guid, long id, unsigned long type) {
    Trace(__func__);
    return store::GetIDFromName2(item, guid, id, type);
}

HRESULT Quorvel_GetIDsFromNames(IMessage* item, unsigned long count, MAPINAMEID* name, SPropTagArray** tags) {
    Trace(__func__);
    return store::GetIDsFromNames(item, count, name, tags);
}

HRESULT Quorvel_ResolveTags(IMessage* item, TComparyProps* props) {
    Trace(__func__);
    return store::ResolveTags(item, props);
}
