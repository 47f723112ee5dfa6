// Cwitec TX16Wx programs and banks: detection of .txprog and .txbank.
//
// Both are XML documents in the "tx" namespace: the root element of a
// program is tx:program, that of a bank tx:bank; the samples are separate
// files named by the document.
#include "formats/instruments/detect_helpers.h"
#include "formats/instruments/instruments_formats.h"

namespace vaxel {

namespace {

int DetectTxProgram(const uint8_t* buffer, uint32_t, size_t bytes, uint64_t, int) {
    return instruments::XmlRootIs(instruments::View(buffer, bytes), "tx:program") ? 6 : 0;
}

int DetectTxBank(const uint8_t* buffer, uint32_t, size_t bytes, uint64_t, int) {
    return instruments::XmlRootIs(instruments::View(buffer, bytes), "tx:bank") ? 6 : 0;
}

} // namespace

void InstallTx16wxFormats() {
    using instruments::BindDetector;
    BindDetector(u"txbank", u"Cwitec TX16Wx bank", &DetectTxBank);
    BindDetector(u"txprog", u"Cwitec TX16Wx program", &DetectTxProgram);
}

} // namespace vaxel
