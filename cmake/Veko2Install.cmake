# Installs the three shared libraries with their headers; the command and its static library stay out
# of the package.
