// Address hierarchy search: the address item record.
#include "search/SearchAddressProc.h"

CAddressData::CAddressData()
    : dwBlockStart(0), dwChildCount(0), dwChildStart(0x3fffffff), dwListPos(0) {}
CAddressData::~CAddressData() {}
