// SPDX-License-Identifier: AGPL-3.0-only
#pragma once

#include <cstdint>

#if defined(_WIN32)
    #define VARNEL_COM_CALL __stdcall
#else
    #define VARNEL_COM_CALL
#endif

namespace nks
{

using Result = std::int32_t;
using InterfaceId = char[16];

constexpr Result notImplemented = 3;

/** The root of the COM-like family that VST3 hosts speak: three operations that every interface begins with.

    The order of the operations is the binary interface. There is no virtual destructor, which would
    take slots of its own: nobody destroys an object through this interface.
*/
class FUnknown
{
public:
    /** Asks for another interface of the same object. @returns 0 and an interface that has been counted, or an
        error and a null pointer */
    virtual Result VARNEL_COM_CALL queryInterface (const InterfaceId iid, void** obj) = 0;

    /** @returns the new count */
    virtual std::uint32_t VARNEL_COM_CALL addRef() = 0;

    /** @returns the new count */
    virtual std::uint32_t VARNEL_COM_CALL release() = 0;

protected:
    ~FUnknown() = default;
};

/** What an NKS host calls a plug-in through.

    Ownership: the format's wrapper owns the plug-in, from before the first reference to after the last.
    The count starts at 0, counts, and decides nothing; a release() that brings it back to 0 destroys
    nothing, and a host has to let go of its references before it lets go of the plug-in. A wrapper
    that hands this interface to a host has to see to that.
*/
class INKS1Plugin : public FUnknown
{
public:
    /** Serves one request. Any thread.
        @param index  direction in the upper 16 bits, property in the lower 16
        @param value  size in bytes of what ptr points at, in requests that set a property
        @param ptr    the property's value, or place for it; needs no alignment
        @returns 1 if the request was served, else 0 */
    virtual std::intptr_t VARNEL_COM_CALL nksCall (std::int32_t index, std::intptr_t value, void* ptr, float opt) = 0;

protected:
    ~INKS1Plugin() = default;
};

} // namespace nks
