#pragma once

#include "arrays/sv/SVArray.h"
#include "arrays/sv/SVRange.h"
#include "datafile/SVByteSwap.h"

#include <cstdio>
#include <string>

struct SVFileStorage;

// A handle on an open file. Copies share one stream. The destruction of the last copy closes it; there is no
// close().
//
// Nothing throws. A failure is reported through SVErrorMessage under the name of the operation and shows in
// the result. A failed open leaves a handle without a stream, on which every operation reports "No file". A
// failed read leaves the position where it stopped. A handle and its copies belong to one thread at a time.
class SVFile {
public:
    // Only regular files are opened: no folders, devices or pipes.
    enum OpenType {
        ReadOnly = 0, // "rb"
        ExistingReadWrite = 1, // "r+b"
        NewReadWrite = 2 // "w+b", after an existing file was removed
    };
    enum Endian { Native = 0, LittleEndian = 1, BigEndian = 2 };

    static bool RunningOnBigEndianMachine();
    static Endian EndianForMachine();
    // Whether the file can be opened for reading; the type is ignored.
    static bool CanOpen(const std::string& name, OpenType type);

    SVFile(); // Without a stream.
    SVFile(const std::string& name, OpenType type);
    // Declares a byte order for the layers above. Reading and writing here don't swap by it.
    SVFile(const std::string& name, Endian endian, OpenType type);
    SVFile(const SVFile& other);
    SVFile& operator=(const SVFile& other);
    ~SVFile();

    bool IsOpen() const;
    bool IsReadOnly() const;
    std::string Name() const;
    Endian EndianType() const;

    // Positions are offsets in bytes from the start. Without a stream they are 0 and setting them does
    // nothing.
    long long Position() const;
    void SetPosition(long long position);
    void MovePosition(long long distance);
    void MoveToEnd();
    bool AtEndOfFile() const; // True without a stream.
    void Flush();
    // In bytes; determined once and kept until the next write through any copy.
    long long Length() const;

    std::FILE* FILEForReading() const;
    std::FILE* FILEForWriting(); // Forgets the length.
    // True if a write must not proceed; the reason is reported under `where`.
    bool CheckWriteErrorState(const char* where) const;
    void pinfo() const;

    // Fill the whole array, or the given part of it, from the current position with one read. The bytes are
    // not swapped. An array without elements is a success.
    template <class T>
    bool ReadBinary(SVMutableArray<T>& array);
    bool ReadBinary(SVMutableDoubleArray& array, const SVRange& range);
    bool ReadBinary(SVMutableIntArray& array, const SVRange& range);
    bool ReadBinary(SVMutableUCharArray& array, long start, long length);
    bool ReadBinary(SVMutableUCharArray& array, long length);
    bool ReadBinary(SVMutableCharArray& array, long length);

    bool ReadCharacters(char* chars, unsigned long howMuchToRead);
    // A number in the machine's byte order; 0 on failure.
    unsigned short ReadUnsignedShort();
    // A number in the given byte order; 0 on failure. Native counts as the order that isn't the machine's.
    int Read_int32(Endian endian);
    unsigned int Read_uint32(Endian endian);
    long long Read_int64(Endian endian);
    float Read_float(Endian endian);
    double Read_double(Endian endian);
    // Exactly so many bytes, NUL included; empty on failure.
    std::string ReadString(unsigned long length);
    // Returns an empty array and reads nothing: no such files are in use.
    SVMutableDoubleArray ReadFortranBinary();
    // The byte that the next read would give.
    char CharacterAtCurrentPosition();
    // Moves to the next byte of that value, from the current position on. False, and the position unchanged,
    // if there is none.
    bool Find(char c);

    // Write at the current position in the machine's byte order.
    bool WriteString(const std::string& text);
    bool WriteStringWithZero(const std::string& text);
    bool WriteUnsignedShort(unsigned short value);
    bool Write8ByteInt(long long value);
    bool Write4ByteInt(int value);
    bool Write2ByteInt(short value);
    bool Write1ByteInt(char value);
    bool WriteFloat(float value);
    bool WriteDouble(double value);
    bool WriteRaw(const char* bytes, long length);
    template <class T>
    bool WriteBinary(const SVArray<T>& array);

    // Text. A line ends at LF, CR, CR LF or NUL, which is consumed, or after maxLength characters if that is
    // not negative.
    std::string ReadLine(long maxLength = -1);
    // Skips blanks and reads characters from 33 to 126. The character that ends the word is consumed. It may
    // be empty.
    std::string NextWord();
    // A field of a table: a number, or text that may stand in double quotes. `failed` is set if there was
    // none, `endOfLine` if the line ended with it. A failed number is NaN.
    double ReadNumberWithSeparator(char separator, bool& failed, bool& endOfLine);
    std::string ReadStringWithSeparator(char separator, bool& failed, bool& endOfLine);
    // Reads numbers and skips all other characters.
    bool ReadAscii(SVMutableDoubleArray& array);
    bool ReadAscii(SVMutableFloatArray& array);
    double ReadAsciiNumber();

private:
    void Open(OpenType type);
    void Release();
    int NextCharacter();
    template <class T>
    bool ReadElements(const std::string& word, T* elements, long count, bool isWholeArray);
    template <class Number>
    Number ReadNumber(const char* word, Endian endian);
    bool WriteBytes(
        const char* checkWord, const char* failWord, const char* text, const void* bytes, std::size_t count);
    void FinishLine(int last);
    bool OnlySeparatorFollows(char separator, int& last);

    SVFileStorage* Storage;
};

// A folder by its path.
class SVFolder {
public:
    explicit SVFolder(std::string path) : path_(std::move(path)) { }
    SVFolder AppendFolderName(const std::string& name) const { return SVFolder(path_ + "/" + name); }
    // The file of that name in the folder, opened as ExistingReadWrite.
    SVFile AppendFileName(const std::string& name) const
    {
        return SVFile(path_ + "/" + name, SVFile::ExistingReadWrite);
    }
    const std::string& Path() const { return path_; }

private:
    std::string path_;
};
