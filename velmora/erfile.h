// The library's binary file: a thin owner of a stdio stream opened in binary mode, with typed reads
// and writes. Persistent classes write their raw fields through it (saveGuts) and read them back
// (restoreGuts). Values are stored in native little-endian order with fixed widths: int, unsigned
// int, long and unsigned long take 4 bytes whatever their size in memory (a long read back is
// sign-extended); there is no header, framing or length prefix beyond what each class writes.
#ifndef VELMORA_ERFILE_H
#define VELMORA_ERFILE_H

#include <cstdio>

// Constructing an ERFile reports a call to a prohibited function (persistence is present and
// complete but not meant for the host) and then opens the file as asked.
class ERFile {
 public:
  // With a null mode, tries "rb+" (update an existing file) and then "wb+" (create or truncate).
  explicit ERFile(const char* name, const char* mode = nullptr);
  ~ERFile();
  ERFile(const ERFile&) = delete;
  ERFile& operator=(const ERFile&) = delete;

  int Open(const char* name, const char* mode);  // the previous stream is not closed
  int Close();                                   // always 1
  int Erase();
  int Flush();
  int Error();
  int Eof();
  long CurOffset();
  int SeekTo(long offset);
  int SeekToBegin();
  int SeekToEnd();
  int Exists();                         // always 0
  static int Exists(const char* name);  // always 0
  int IsEmpty();                        // not implemented: the result says nothing
  int isValid() const { return fp != nullptr; }
  const char* GetName() const { return name; }
  FILE* stream() const { return fp; }

  // One value: 1 when exactly one element was transferred.
  int Read(char& v);
  int Read(unsigned char& v);
  int Read(short& v);
  int Read(int& v);
  int Read(unsigned int& v);
  int Read(long& v);
  int Read(unsigned long& v);
  int Read(float& v);
  int Read(double& v);
  int Write(char v);
  int Write(unsigned char v);
  int Write(short v);
  int Write(int v);
  int Write(unsigned int v);
  int Write(long v);
  int Write(unsigned long v);
  int Write(float v);
  int Write(double v);

  // Arrays of count elements back to back, no count stored: 1 when all count were transferred.
  int Read(char* data, unsigned count);
  int Read(short* data, unsigned count);
  int Read(int* data, unsigned count);
  int Read(long* data, unsigned count);
  int Read(float* data, unsigned count);
  int Read(double* data, unsigned count);
  int Write(const char* data, unsigned count);
  int Write(const short* data, unsigned count);
  int Write(const int* data, unsigned count);
  int Write(const long* data, unsigned count);
  int Write(const float* data, unsigned count);
  int Write(const double* data, unsigned count);

  // A zero-terminated string: its characters and the terminating zero.
  int Write(const char* s);
  // Reads up to a zero byte or the end of the file and terminates s; always 1. s must be large enough.
  int Read(char* s);

 private:
  char* name;
  FILE* fp;
};

#endif
