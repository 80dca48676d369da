// The telephone cascade: POI index, companies, households, area points; the first directory that
// knows the number answers, and listing reads from it.
#include "search/SearchPhoneProc.h"

namespace {

enum Kind : uint32_t { kNone = 0, kPoi = 1, kCompany = 2, kHousehold = 3, kArea = 4 };

}  // namespace

CSearchPhoneProc::CSearchPhoneProc() : m_dwKind(kNone) {}

CSearchPhoneProc::~CSearchPhoneProc() {}

bool CSearchPhoneProc::SearchPhoneProc(unsigned long* kind, unsigned long* count,
                                       unsigned char* number) {
    m_dwKind = kNone;
    unsigned long scratch = 0;
    unsigned long* n = count != nullptr ? count : &scratch;
    // From the most specific directory to the least; a step fails only when its folder is
    // missing, which ends the cascade.
    using Search = bool (*)(CSearchPhoneProc*, unsigned long*, unsigned char*);
    static const struct {
        Search search;
        Kind kind;
    } kCascade[] = {{[](CSearchPhoneProc* p, unsigned long* c, unsigned char* s) {
                         return p->CSearchTelephoneProc::SearchProc(c, s);
                     },
                     kPoi},
                    {[](CSearchPhoneProc* p, unsigned long* c, unsigned char* s) {
                         return p->SearchCompanyProc(c, s);
                     },
                     kCompany},
                    {[](CSearchPhoneProc* p, unsigned long* c, unsigned char* s) {
                         return p->SearchHomeProc(c, s);
                     },
                     kHousehold},
                    {[](CSearchPhoneProc* p, unsigned long* c, unsigned char* s) {
                         return p->SearchAreaProc(c, s);
                     },
                     kArea}};
    for (const auto& step : kCascade) {
        if (!step.search(this, n, number)) return false;
        if (*n > 0) {
            m_dwKind = step.kind;
            break;
        }
    }
    if (kind != nullptr) *kind = m_dwKind;
    return true;
}

bool CSearchPhoneProc::CheckKanaProc(unsigned long* count, unsigned char* reading) {
    return CheckProc(count, reading);
}

bool CSearchPhoneProc::GetList(CLocationData* out, unsigned long start, unsigned long count) {
    switch (m_dwKind) {
        case kPoi:
            return CSearchTelephoneProc::GetList(out, start, count);
        case kCompany:
        case kHousehold:
            return CSearchHomePhoneProc::GetList(out, start, count);
        case kArea:
            return GetAreaData(out);
        default:
            return false;
    }
}
