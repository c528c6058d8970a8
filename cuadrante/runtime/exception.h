// The runtime's exception hierarchy.
//
// Every failure of the runtime layer is an `Exception` carrying a text for
// people in `Message`; callers catch the base class where they tolerate
// failures and let it pass elsewhere. Exceptions are values: safe to copy and
// to throw from any thread.
#pragma once

#include <exception>
#include <string>

#include "cuadrante/runtime/export.h"

class CUADRANTE_API Exception : public std::exception {
 public:
  explicit Exception(std::string message);
  ~Exception() override;
  const char* what() const noexcept override;

  std::string Message;
};

// A text that is not the number or date the caller asked for.
class CUADRANTE_API EConvertError : public Exception {
 public:
  using Exception::Exception;
  ~EConvertError() override;
};

// A sorted string list refused a duplicate, or an index was out of range.
class CUADRANTE_API EStringListError : public Exception {
 public:
  using Exception::Exception;
  ~EStringListError() override;
};

// A file could not be opened, read, created or written.
class CUADRANTE_API EFileError : public Exception {
 public:
  using Exception::Exception;
  ~EFileError() override;
};

class CUADRANTE_API EFOpenError : public EFileError {
 public:
  using EFileError::EFileError;
  ~EFOpenError() override;
};

class CUADRANTE_API EFCreateError : public EFileError {
 public:
  using EFileError::EFileError;
  ~EFCreateError() override;
};

// An XML text that does not parse, or a document that cannot be written.
class CUADRANTE_API EXMLDocError : public Exception {
 public:
  using Exception::Exception;
  ~EXMLDocError() override;
};
