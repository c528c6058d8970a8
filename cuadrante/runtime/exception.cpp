#include "cuadrante/runtime/exception.h"

#include <utility>

Exception::Exception(std::string message) : Message(std::move(message)) {}

// Out-of-line destructors anchor each class's vtable and type information in
// the library, so a host's catch matches what the library throws.
Exception::~Exception() = default;
EConvertError::~EConvertError() = default;
EStringListError::~EStringListError() = default;
EFileError::~EFileError() = default;
EFOpenError::~EFOpenError() = default;
EFCreateError::~EFCreateError() = default;
EXMLDocError::~EXMLDocError() = default;

const char* Exception::what() const noexcept { return Message.c_str(); }
