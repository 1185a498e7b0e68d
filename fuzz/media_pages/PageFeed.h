#pragma once

#include "boundary/records/DownloadRecords.h"

#include <cstddef>
#include <cstdint>

// Serves the pages of an input to the tasks' fetches, in order, in place of the network. Pages are separated
// by a zero byte, which no JSON text contains; behind the last one every fetch fails.
void feedPages(const std::uint8_t* data, std::size_t size);

// Callbacks that end the program at a record which breaks its promises: texts are terminated and well-formed.
std::int32_t checkAlbum(void*, KBL::IExternlMediaTransfer*, const KBL::hostAlbumRecord* album);
std::int32_t checkMedia(void*, KBL::IExternlMediaTransfer*, const KBL::hostMediaRecord* media);
std::int32_t checkError(void*, KBL::IExternlMediaTransfer*, const KBL::hostErrorRecord* error);
