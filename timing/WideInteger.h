// Integers that hold every sum and product of two times.
#pragma once

namespace qorn::timing {

__extension__ using Wide = __int128;
__extension__ using UnsignedWide = unsigned __int128;

} // namespace qorn::timing
