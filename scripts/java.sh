# Sets the variable java: the release that the jar is built for, whatever others the machine has. Source this file.
java=java
for found in /usr/lib/jvm/java-17-openjdk-*/bin/java; do
    [[ ! -x $found ]] || java=$found
done
