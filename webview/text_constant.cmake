# Writes a C++ file that defines a text file as a constant.
#   cmake -DINPUT=file -DOUTPUT=file.cpp -DHEADER=declaring/header.h -DNAME=constant -P text_constant.cmake
file(READ "${INPUT}" text)
file(WRITE "${OUTPUT}" "#include \"${HEADER}\"\n\nconst char ${NAME}[] = R\"text(${text})text\";\n")
