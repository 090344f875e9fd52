// What the records of the header are in a program that packs its own to 1.
#include "tests/unit/client/packed_record_sizes.h"

#pragma pack(push, 1)
#include "client/include/nexlet_client.h"
#pragma pack(pop)

RecordSizes PackedRecordSizes() {
    return {sizeof(nexlet_options), sizeof(nexlet_start_options), sizeof(nexlet_app_status), sizeof(nexlet_helper)};
}
