#pragma once

#include <cstdint>

// The numbers and words of the Frame Streams protocol, on a connection and in a file.
namespace ns::net::fstrm {

/// Types of control frames.
enum ControlType : uint32_t { Accept = 1, Start = 2, Stop = 3, Ready = 4, Finish = 5 };

/// The type of the control field that holds a content type.
inline constexpr uint32_t ContentTypeField = 1;

/// The one content type that is spoken here, and its length.
inline constexpr const char* dnstap_content_type = "protobuf:dnstap.Dnstap";
inline constexpr uint32_t ContentTypeLength = 22;

}  // namespace ns::net::fstrm
