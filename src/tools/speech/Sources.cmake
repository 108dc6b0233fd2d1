# Dictation: audio from the microphone or a WAV file, turned into 16 kHz mono samples and
# recognised by pocketsphinx on a worker thread.
pkg_check_modules(POCKETSPHINX REQUIRED pocketsphinx)
# Debian's pocketsphinx.pc names /usr/include/sphinxbase, which the package does not create (its
# headers are under the multiarch folder); an imported target would refuse the missing folder.
set(sphinx_includes)
foreach(dir ${POCKETSPHINX_INCLUDE_DIRS})
    if(EXISTS ${dir})
        list(APPEND sphinx_includes ${dir})
    endif()
endforeach()
target_sources(corvane_tools PRIVATE
    speech/SpeechAudio.h speech/SpeechAudio.cpp
    speech/AudioSource.h speech/AudioSource.cpp
    speech/SpeechRecognizer.h
    speech/PocketSphinxRecognizer.h speech/PocketSphinxRecognizer.cpp
    speech/SpeechService.h speech/SpeechService.cpp)
set_source_files_properties(speech/PocketSphinxRecognizer.cpp PROPERTIES INCLUDE_DIRECTORIES "${sphinx_includes}")
target_link_libraries(corvane_tools PUBLIC Qt6::Multimedia ${POCKETSPHINX_LINK_LIBRARIES})
