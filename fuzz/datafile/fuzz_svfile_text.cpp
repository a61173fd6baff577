#include "datafile/SVFile.h"

#include "fuzz_files.h"

// The text scanners on any bytes; the first byte is the separator. A scanner that is called again and again
// reaches the end of the file, except for a CR there, which is read again each time.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    if (size == 0)
        return 0;
    const auto separator = static_cast<char>(data[0]);
    const std::string path = fuzz::pathOf("text");
    fuzz::store(path, data + 1, size - 1);
    SVFile file(path, SVFile::ReadOnly);
    bool failed = false;
    bool endOfLine = false;
    const auto untilEnd = [&](auto scan) {
        file.SetPosition(0);
        for (std::size_t calls = 0; calls <= size && !file.AtEndOfFile(); ++calls)
            scan();
    };
    untilEnd([&] { file.ReadLine(); });
    untilEnd([&] { file.ReadLine(3); });
    untilEnd([&] { file.NextWord(); });
    untilEnd([&] { file.ReadNumberWithSeparator(separator, failed, endOfLine); });
    untilEnd([&] { file.ReadStringWithSeparator(separator, failed, endOfLine); });
    untilEnd([&] { file.ReadAsciiNumber(); });
    SVMutableDoubleArray doubles(5);
    untilEnd([&] { file.ReadAscii(doubles); });
    SVMutableFloatArray floats(5);
    untilEnd([&] { file.ReadAscii(floats); });
    file.SetPosition(0);
    file.Find(separator);
    return 0;
}
