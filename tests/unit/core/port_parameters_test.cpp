#include "core/port_parameters.h"

#include "world/records.h"

namespace {

class port_parameters : public records_test {
  protected:
    port_parameter_block block{.Port_Number = 2,
                               .Port_Enable = 1,
                               .Power_Priority = 2,
                               .Schedule_Enable = 0,
                               .PoE_Mode = 3,
                               .Re_Enable_Val = 10,
                               .reserved = {},
                               .Power_Limit_Val = {}};
    port_parameters() { block.Power_Limit_Val = 300; }
};

TEST_F(port_parameters, a_complete_block_is_accepted) {
    EXPECT_EQ(check_one_port_pmt_value(&block), 0);
}

}  // namespace
