// Area code to address: the binary search of the "CONVADDR" table, then the choices it names
// made on the address search's level machine.
#include "search/ConvAddressProc.h"

#include "foundation/Bytes.h"
#include "foundation/IndexSearch.h"
#include "foundation/TableFile.h"

namespace {

constexpr size_t kEntry = 9;
constexpr unsigned long kNoPosition = 65535;

// Key minus entry, compared code by code.
int Compare(unsigned long code1, unsigned long code2, unsigned long code3, const unsigned char* e) {
    const unsigned long stored[3] = {e[0], bytes::ReadU16LE(e + 1), bytes::ReadU16LE(e + 3)};
    const unsigned long key[3] = {code1, code2, code3};
    for (int i = 0; i < 3; ++i) {
        if (key[i] != stored[i]) return key[i] < stored[i] ? -1 : 1;
    }
    return 0;
}

}  // namespace

CConvAddressProc::CConvAddressProc() {}
CConvAddressProc::~CConvAddressProc() {}

unsigned long CConvAddressProc::LoadData(unsigned long* pos0, unsigned long* pos1,
                                         unsigned long* pos2, unsigned long code1,
                                         unsigned long code2, unsigned long code3) {
    if (pos0 == nullptr || pos1 == nullptr || pos2 == nullptr) return 0;
    *pos0 = *pos1 = *pos2 = 0;
    TableFile file("CONVADDR/CA.DAT", kEntry);
    if (!file.ok()) return 0;
    unsigned char entry[kEntry];
    const index_search::Result r = index_search::Find(file.count(), [&](uint64_t i) {
        if (!file.Read(i, entry)) return index_search::Probe::kUnreadable;
        return index_search::FromCompare(Compare(code1, code2, code3, entry));
    });
    if (!r.found) return 0;
    *pos0 = entry[5];
    *pos1 = entry[6];
    *pos2 = bytes::ReadU16LE(entry + 7);
    return 1;
}

unsigned long CConvAddressProc::ConvAddressProc(unsigned long code1, unsigned long code2,
                                                unsigned long code3) {
    m_blCancel = false;
    unsigned long pos[3];
    if (!LoadData(&pos[0], &pos[1], &pos[2], code1, code2, code3) &&
        !LoadData(&pos[0], &pos[1], &pos[2], code1, code2, 0)) {
        return 0;
    }
    unsigned long count = 0;
    if (InitProc(&count) == 0 || SearchNextProc(&count, pos[0]) == 0 ||
        SearchNextProc(&count, pos[1]) == 0) {
        return 0;
    }
    SearchNextProcLight(pos[2]);  // not checked: the path reaches the city at least
    return 1;
}

unsigned long CConvAddressProc::SearchNextProcLight(unsigned long position) {
    if (position == kNoPosition) return 1;
    CAddressData item;
    return Choose(position, &item);
}
