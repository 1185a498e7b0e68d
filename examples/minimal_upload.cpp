// The smallest upload: the user who signed in last (see minimal_login.cpp) sends one video to YouTube.
// Usage: minimal_upload CLOUD_CONFIG APP_SECRET CACHE_DIR VIDEO
#include "boundary/ExternlMediaTransfer.h"
#include "boundary/records/HostRecords.h"
#include "foundation/BsCloudConfig/BsCloudConfig.h"
#include "foundation/BsNet/NetKeys.h"
#include "foundation/BsNet/createInfoObject.h"
#include "foundation/object/CastByName.h"

#include <cstdio>
#include <future>

static std::promise<int> outcome;
