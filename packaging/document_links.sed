# Where the links between documents lead from /usr/share/doc/PACKAGE, where they are installed.
s,](\.\./include/kxl/kxl\.h\(pp\)\?),](../../../include/kxl/kxl.h\1),g
s,](\.\./examples/,](../libkxl-dev/examples/,g
s,](\.\./tools/updater\(/README\.md\)\?),](../kxl-updater-reference/README.md),g
s,](\(administration\|sandboxes\)\.md,](../kxl-tools/\1.md,g
s,](\(architecture\|integration\|updater\)\.md,](../libkxl-dev/\1.md,g
# Pictures are not installed.
/<picture>/,/<\/picture>/d
