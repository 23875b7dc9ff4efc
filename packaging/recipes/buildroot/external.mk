include $(sort $(wildcard $(BR2_EXTERNAL_NET_TEST_PATH)/package/*/*.mk))
