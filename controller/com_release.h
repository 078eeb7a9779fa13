// controller/com_release.h: the one way in which the product lets go of a COM object.
#pragma once

namespace kelvane {

// Releases the caller's reference; nothing happens to an object that is not there. Any thread.
template<class Interface>
void release(Interface* object)
{
    if (object) object->Release();
}

}  // namespace kelvane
