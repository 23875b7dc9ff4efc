################################################################################
#
# net-test
#
################################################################################

NET_TEST_VERSION = @VERSION@
# The source package that cpack makes, with this recipe beside it.
NET_TEST_SITE = file://$(realpath $(BR2_EXTERNAL_NET_TEST_PATH)/../..)
NET_TEST_LICENSE = none chosen yet, all rights reserved
NET_TEST_REDISTRIBUTE = NO
NET_TEST_INSTALL_STAGING = YES
# Buildroot has settings of its own for that.
NET_TEST_CONF_OPTS = -DNET_TEST_HARDENING=OFF

# Without the libraries, which are in staging.
define NET_TEST_INSTALL_TARGET_CMDS
	$(TARGET_MAKE_ENV) DESTDIR=$(TARGET_DIR) $(BR2_CMAKE) --install $(NET_TEST_BUILDDIR) --component net-test
	$(TARGET_MAKE_ENV) DESTDIR=$(TARGET_DIR) $(BR2_CMAKE) --install $(NET_TEST_BUILDDIR) --component net-test-show
endef

$(eval $(cmake-package))
