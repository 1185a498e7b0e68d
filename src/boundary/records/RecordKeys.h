#pragma once

namespace KBL {

/// Tells the foundation the names of all keys of the record tables, so that they are copied out of a host's
/// own records, too, which cannot be listed. Once a process is enough; any thread.
void registerRecordKeys();

}  // namespace KBL
