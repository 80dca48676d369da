// Kana reading search: key normalisation, the walk of the character tree with its forgiving
// skip of unknown characters, the 49 key states, and listing through the base POI data.
#include "search/SearchKanaProc.h"

#include <unistd.h>

#include <cstdio>
#include <cstring>

#include "foundation/Bytes.h"
#include "foundation/TableFile.h"
#include "search/ReadingKey.h"

namespace {

constexpr uint32_t kNoChild = 0x7fffffff;
constexpr unsigned long kNodeSize = 12;
constexpr unsigned long kMaxChildren = 255;
constexpr unsigned long kMaxKey = 512;
constexpr uint32_t kCompleteFlag = 0x8000;

constexpr unsigned long kKeyWo = 45;  // 0xA6
constexpr unsigned long kKeyProlonged = 46;
constexpr unsigned long kKeySemiVoiced = 47;
constexpr unsigned long kKeyVoiced = 48;
constexpr unsigned long kKeyCount = 49;
constexpr unsigned long kKanaKeys = 45;  // 0xB1-0xDD

// Records a character that may follow the reading.
void MarkKey(bool* keyStates, unsigned char ch) {
    if (ch == 0xA6) {
        keyStates[kKeyWo] = true;
    } else if (ch == reading::kProlonged) {
        keyStates[kKeyProlonged] = true;
    } else if (ch != '-') {
        const unsigned long k = static_cast<unsigned long>(ch) - 0xB1;  // wraps below 0xB1
        if (k < kKeyCount) keyStates[k] = true;
    }
}

}  // namespace

CSearchKanaProc::CSearchKanaProc() : m_dwFirstID(0), m_dwCountWord(0) {
    memset(m_blKeyState, 0, sizeof(m_blKeyState));
}

CSearchKanaProc::~CSearchKanaProc() {}

void CSearchKanaProc::FlushBuf() {
    memset(m_blKeyState, 0, sizeof(m_blKeyState));
    m_dwFirstID = 0;
    m_dwCountWord = 0;
}

bool CSearchKanaProc::OpenKanaFile(const char* format, unsigned long first) {
    if (!IsDBEnabled()) return false;
    if (!OpenDataFolder("KANAMA")) return false;
    char name[32] = {};
    snprintf(name, sizeof(name), format, "K", static_cast<int>(first));
    if (!OpenPackFile(name)) {
        ClosePackFolder();
        return false;
    }
    return true;
}

unsigned long CSearchKanaProc::SearchProc(unsigned long* count, unsigned char* reading) {
    m_blCancel = false;
    FlushBuf();
    if (reading == nullptr || reading[0] == 0) {
        m_dwFirstID = 0;
        m_dwCountWord = 0;
        if (count != nullptr) *count = 0;
        for (unsigned long k = 0; k < kKanaKeys; ++k) m_blKeyState[k] = true;
        return 2;
    }
    unsigned long firstId = 0;
    unsigned long countWord = 0;
    if (!LoadIndex(m_blKeyState, &firstId, &countWord, reading)) return 0;
    m_dwFirstID = static_cast<uint32_t>(firstId);
    m_dwCountWord = static_cast<uint32_t>(countWord);
    unsigned long result = 3;
    unsigned long n = countWord;
    if (countWord & kCompleteFlag) {
        n = countWord & ~static_cast<unsigned long>(kCompleteFlag);
        result = 2;
    }
    if (count != nullptr) *count = n;
    // The marks that may follow the last byte as typed (before normalisation).
    const unsigned char ch = reading[strlen(reinterpret_cast<char*>(reading)) - 1];
    if (ch == 0xB3 || (ch >= 0xB6 && ch <= 0xC4)) m_blKeyState[kKeyVoiced] = true;
    if (ch >= 0xCA && ch <= 0xCE) {
        m_blKeyState[kKeySemiVoiced] = true;
        m_blKeyState[kKeyVoiced] = true;
    }
    return result;
}

bool CSearchKanaProc::LoadIndex(bool* keyStates, unsigned long* firstId, unsigned long* countWord,
                                unsigned char* reading) {
    if (keyStates == nullptr || firstId == nullptr || countWord == nullptr || reading == nullptr) {
        return false;
    }
    unsigned char key[kMaxKey + 1];
    const unsigned long n = reading::Normalise(reading, key, kMaxKey);
    if (!OpenKanaFile("%s%03d.idx", key[0])) return false;
    if (table::EntryCount(GetPackFileSize(), kNodeSize) == 0) {
        ClosePackFolder();
        return false;
    }
    // One level per key character, so a damaged tree with cycles still ends. A short read
    // ends the walk; the values of the last node read stand.
    // A node's entry is read once: the children read of one level already holds the entry of
    // the node the next level starts from, and a skipped character keeps the node just read.
    unsigned long node = 0;
    bool haveEntry = false;
    unsigned char entry[kNodeSize];
    unsigned char children[kMaxChildren * kNodeSize];  // a node counts its children in a byte
    for (unsigned long level = 1; level <= n; ++level) {
        if (!haveEntry && ReadPackEntries(node, 1, kNodeSize, entry) != kNodeSize) break;
        *firstId = bytes::ReadU32LE(entry + 6);
        *countWord = bytes::ReadU16LE(entry + 10);
        const uint32_t firstChild = bytes::ReadU32LE(entry + 1);
        if (firstChild == kNoChild) break;
        const unsigned long childCount = entry[5];
        // All children in one read; child j counts as read when its character byte came back.
        const unsigned long got =
            childCount == 0 ? 0 : ReadPackEntries(firstChild, childCount, kNodeSize, children);
        unsigned long next = node;
        unsigned long nextAt = kMaxChildren;  // the matching child's place in `children`
        bool shortRead = false;
        for (unsigned long j = 0; j < childCount; ++j) {
            if (got <= kNodeSize * j) {
                shortRead = true;
                break;
            }
            const unsigned char ch = children[kNodeSize * j];
            if (level == n) MarkKey(keyStates, ch);
            // key[n] is the terminator. When several children match, the last one wins.
            if (ch == key[level]) {
                next = static_cast<uint32_t>(firstChild + j);
                nextAt = j;
            }
        }
        if (shortRead) break;
        // Deliberate: no matching child keeps the node, so an unknown character is skipped
        // and the next key character is tried against the same children.
        if (nextAt == kMaxChildren) {
            haveEntry = true;  // the same node again
        } else if (got >= kNodeSize * (nextAt + 1)) {
            memcpy(entry, children + kNodeSize * nextAt, kNodeSize);
            haveEntry = true;
        } else {
            haveEntry = false;  // only part of its entry came back: read it on its own
        }
        node = next;
    }
    ClosePackFolder();
    return true;
}

unsigned char CSearchKanaProc::GetKeyState(unsigned long key) {
    if (key >= kKeyCount) return 0;
    return m_blKeyState[key] ? 1 : 0;
}

unsigned long CSearchKanaProc::GetRefinedTotal(unsigned long g1, unsigned long g2, unsigned long g3,
                                               unsigned long g4) {
    return CSearchBaseDataProc::GetRefinedTotal(m_dwFirstID, m_dwCountWord, g1, g2, g3, g4);
}

bool CSearchKanaProc::GetList(CLocationData* out, unsigned long listStart, unsigned long listCount,
                              unsigned long g1, unsigned long g2, unsigned long g3,
                              unsigned long g4) {
    return CSearchBaseDataProc::GetList(out, m_dwFirstID, m_dwCountWord, listStart, listCount, g1,
                                        g2, g3, g4);
}
