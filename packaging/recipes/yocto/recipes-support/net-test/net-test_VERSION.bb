SUMMARY = "Network throughput tester"
DESCRIPTION = "Measures the throughput of one FTP or HTTP transfer, and keeps the result in a file \
for other programs."
# None has been chosen yet, all rights are reserved.
LICENSE = "CLOSED"

# The source package that cpack makes, with this recipe beside it.
FILESEXTRAPATHS:prepend := "${THISDIR}/../../../..:"
SRC_URI = "file://${BP}.tar.gz"
SRC_URI[sha256sum] = "@SHA256@"

inherit cmake

# The distribution has flags of its own for that.
EXTRA_OECMAKE = "-DNET_TEST_HARDENING=OFF"

PACKAGE_BEFORE_PN = "${PN}-show"
FILES:${PN}-show = "${bindir}/net-test-show ${datadir}/bash-completion/completions/net-test-show"
FILES:${PN} += "${datadir}/bash-completion"
RDEPENDS:${PN}-show = "${PN}"
